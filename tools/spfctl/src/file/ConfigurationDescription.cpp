#include "file/ConfigurationDescription.hpp"

#include <set>
#include <stdexcept>

namespace spfctl {

using agent::spf::frameworksetup::SPFConfiguration;
using agent::spf::frameworksetup::SPFConfigurationBuilder;

namespace {

void addAll(SPFConfigurationBuilder& builder, const ConfigurationDescription& description) {
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
}

void requireID(const std::set<std::string>& ids, const char* what, const std::string& id) {
  if (ids.count(id) == 0) {
    throw std::runtime_error(std::string("ServiceMapping references an unknown ") + what + " Configuration " + id);
  }
}

void validateMappings(const ConfigurationDescription& description) {
  std::set<std::string> interfaceIDs;
  for (const auto& serviceInterface : description.serviceInterfaces) {
    interfaceIDs.insert(serviceInterface.record.uniqueID);
  }
  std::set<std::string> publisherIDs;
  for (const auto& publisher : description.servicePublishers) {
    publisherIDs.insert(publisher.uniqueID);
  }
  for (const auto& [serviceInterfaceID, servicePublisherID] : description.serviceMappings) {
    requireID(interfaceIDs, "ServiceInterface", serviceInterfaceID);
    requireID(publisherIDs, "ServicePublisher", servicePublisherID);
  }
}

}  // namespace

SPFConfigurationBuilder toBuilder(const ConfigurationDescription& description) {
  SPFConfigurationBuilder builder(description.configurationID);
  addAll(builder, description);
  return builder;
}

SPFConfigurationBuilder modifiedTo(SPFConfiguration& configuration, const ConfigurationDescription& description) {
  // Whatever can fail is done before modify(), from where on a failure withdraws the configuration.
  validateMappings(description);
  const auto oldInterfaces = configuration.getServiceInterfaceConfigurations();
  const auto oldPublishers = configuration.getServicePublisherConfigurations();
  auto builder = configuration.modify();
  // All of them, since an interface that is replaced keeps its mark and its mappings.
  for (const auto& serviceInterface : oldInterfaces) {
    builder.removeServiceInterface(serviceInterface.uniqueID);
  }
  for (const auto& publisher : oldPublishers) {
    builder.removeServicePublisher(publisher.uniqueID);
  }
  addAll(builder, description);
  return builder;
}

}  // namespace spfctl
