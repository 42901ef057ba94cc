#pragma once

#include <string>
#include <utility>
#include <vector>

#include "agent/spf/frameworksetup/SPFConfiguration.hpp"
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"
#include "agent/spf/frameworksetup/SPFServiceInterfaceConfiguration.hpp"
#include "agent/spf/frameworksetup/SPFServicePublisherConfiguration.hpp"

namespace spfctl {

/// One configuration, as a file describes it.
struct ConfigurationDescription {
  struct ServiceInterface {
    agent::spf::frameworksetup::SPFServiceInterfaceConfiguration record;
    bool toAllServicePublishers = false;
  };

  std::string configurationID;
  std::vector<ServiceInterface> serviceInterfaces;
  std::vector<agent::spf::frameworksetup::SPFServicePublisherConfiguration> servicePublishers;
  std::vector<std::pair<std::string, std::string>> serviceMappings;  ///< interface, publisher
};

/// Returns a builder that holds all of it.
agent::spf::frameworksetup::SPFConfigurationBuilder toBuilder(const ConfigurationDescription& description);

/// Returns a builder that holds all of it, and nothing else, under the identity of a configuration: building it
/// publishes the next revision of that configuration. The description's own ID does not matter.
///
/// The builder is one that `modify()` returned: if it is dropped unbuilt, the configuration is withdrawn. That happens
/// as well if memory runs out in here after `modify()`.
/// \param configuration  without a configuration, the builder has the empty ID
/// \throws std::runtime_error in the library's words if a mapping names an interface or publisher that the description
///         does not have; the configuration is unchanged then
agent::spf::frameworksetup::SPFConfigurationBuilder modifiedTo(
    agent::spf::frameworksetup::SPFConfiguration& configuration, const ConfigurationDescription& description);

}  // namespace spfctl
