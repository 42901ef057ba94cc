#pragma once

#include <string>
#include <utility>
#include <vector>

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

}  // namespace spfctl
