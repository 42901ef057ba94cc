#include "file/ConfigurationDescription.hpp"

namespace spfctl {

using agent::spf::frameworksetup::SPFConfigurationBuilder;

SPFConfigurationBuilder toBuilder(const ConfigurationDescription& description) {
  SPFConfigurationBuilder builder(description.configurationID);
  for (const auto& serviceInterface : description.serviceInterfaces) {
    if (serviceInterface.toAllServicePublishers) {
      builder.addServiceInterfaceToAllServicePublishers(serviceInterface.record);
    } else {
      builder.addServiceInterface(serviceInterface.record);
    }
  }
  for (const auto& publisher : description.servicePublishers) {
    builder.addServicePublisher(publisher);
  }
  for (const auto& [serviceInterfaceID, servicePublisherID] : description.serviceMappings) {
    builder.addServiceMapping(serviceInterfaceID, servicePublisherID);
  }
  return builder;
}

}  // namespace spfctl
