#pragma once

#include <string>
#include <vector>

namespace spfctl {

/// The state of one publisher.
struct PublisherState {
  std::string id;
  std::vector<std::string> toConnect;  ///< outstanding endpoints, as text
  std::vector<std::string> toBind;
  bool servicesPublished = false;
  std::string error;  ///< what the framework says; empty when it says nothing

  bool failed() const { return !error.empty(); }
  bool ready() const { return !failed() && toConnect.empty() && toBind.empty() && servicesPublished; }

  /// Returns whether it is neither ready nor failed.
  bool outstanding() const { return !failed() && !ready(); }
};

}  // namespace spfctl
