#pragma once

#include <string>
#include <vector>

#include "file/ConfigurationDescription.hpp"

namespace spfctl {

/// One difference between two configurations: an entry that was added, removed or changed, or within a changed entry
/// one detail.
struct Difference {
  enum class Kind { added, removed, changed };

  Kind kind;
  std::string what;    ///< an entry's ID, or what the detail is about, like "name" or "endpoint to bind to"
  std::string before;  ///< of a removed or changed detail
  std::string after;   ///< of an added or changed detail
  std::vector<Difference> details;  ///< of an entry; what it holds if it is added or removed
};

/// The differences between two configurations. Entries count as the same if their IDs are equal.
struct Differences {
  std::vector<Difference> configuration;  ///< of the configuration itself: its ID
  std::vector<Difference> serviceInterfaces;
  std::vector<Difference> servicePublishers;
  std::vector<Difference> serviceMappings;

  bool empty() const {
    return configuration.empty() && serviceInterfaces.empty() && servicePublishers.empty() && serviceMappings.empty();
  }
};

/// Returns what changes from one configuration to another. Endpoints are compared one by one.
Differences differencesOf(const ConfigurationDescription& before, const ConfigurationDescription& after);

}  // namespace spfctl
