#include "file/encodedProperties.hpp"

#include "publish/encodeConfiguration.hpp"

namespace spfctl {

using agent::spf::frameworksetup::encodeConfiguration;
using agent::spf::frameworksetup::ServiceInterfaces;
using agent::spf::frameworksetup::ServiceMappings;
using agent::spf::frameworksetup::ServicePublishers;

cppmicroservices::AnyMap encodedProperties(const ConfigurationDescription& description) {
  ServiceInterfaces interfaces;
  for (const auto& serviceInterface : description.serviceInterfaces) {
    interfaces.insert({serviceInterface.record, serviceInterface.toAllServicePublishers});
  }
  ServicePublishers publishers;
  for (const auto& publisher : description.servicePublishers) {
    publishers.insert(publisher);
  }
  ServiceMappings mappings;
  for (const auto& [serviceInterfaceID, servicePublisherID] : description.serviceMappings) {
    mappings.insert({serviceInterfaceID, servicePublisherID});
  }
  const std::uint32_t first = 1;
  return encodeConfiguration(first, interfaces, publishers, mappings);
}

}  // namespace spfctl
