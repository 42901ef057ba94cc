#pragma once

#include <string>
#include <utility>
#include <vector>

#include <cppmicroservices/AnyMap.h>

#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"

namespace spf::benchmarks {

/// A configuration with publishers of one service and one `inproc` endpoint each. No two of one process have a
/// publisher or an endpoint in common.
class Stations {
 public:
  Stations(int number, int publishers);

  const std::string& configurationID() const noexcept { return configurationID_; }
  const std::vector<std::string>& publisherIDs() const noexcept { return publisherIDs_; }
  std::string endpointOf(const std::string& publisherID) const;

  agent::spf::frameworksetup::SPFConfigurationBuilder builder() const;

  /// The properties of what the builder builds.
  cppmicroservices::AnyMap properties() const;

 private:
  std::string configurationID_;
  std::vector<std::string> publisherIDs_;
};

/// Returns what Configuration Admin holds of a configuration.
cppmicroservices::AnyMap publishedProperties(const std::string& configurationID);

/// Publishes, waits until all publishers are ready, withdraws, and waits until all are withdrawn.
/// \throws std::runtime_error if something of it does not happen
void live(const Stations& stations);

/// The same for several configurations, which are all published before the first one is withdrawn.
void liveAtOnce(const std::vector<Stations>& all);

}  // namespace spf::benchmarks
