#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "agent/spf/frameworkinterfaces/EndpointStatus.hpp"
#include "agent/spf/frameworksetup/SPFConfiguration.hpp"
#include "display/PublisherState.hpp"
#include "file/ConfigurationDescription.hpp"

namespace spfctl {

/// Follows the states of a configuration's publishers: what the library says, in more detail where the framework offers
/// an EndpointStatus. For one thread.
class PublisherStates {
 public:
  /// \param published  when the configuration was published
  PublisherStates(const ConfigurationDescription& description, std::chrono::steady_clock::time_point published);

  /// Returns the current states, in the order of the configuration.
  /// \param records  those of the framework; empty if it offers none
  std::vector<PublisherState> update(agent::spf::frameworksetup::SPFConfiguration& configuration,
                                     const std::vector<agent::spf::frameworkinterfaces::EndpointState>& records,
                                     std::chrono::steady_clock::time_point now);

 private:
  struct Since {
    bool ready = false;
    bool failed = false;
    std::chrono::steady_clock::time_point time;
  };

  std::chrono::steady_clock::time_point sinceOf(const PublisherState& state, std::chrono::steady_clock::time_point now);

  const ConfigurationDescription& description_;
  std::map<std::string, Since> since_;
};

}  // namespace spfctl
