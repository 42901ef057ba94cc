#include "publish/encodeConfiguration.hpp"

#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "model/servicePublisherNames.hpp"
#include "publish/propertyKeys.hpp"
#include "publish/propertyMap.hpp"
#include "publish/ptreeToAnyMap.hpp"

namespace agent::spf::frameworksetup {

namespace {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using List = std::vector<Any>;

std::string factoryPID(const std::string& publisherName) {
  return publisherName == legacyServicePublisherName ? "zk.spf.legacyservicepublisher" : "zk.spf.rpcservicepublisher";
}

AnyMap encodePublisherConfig(const SPFServicePublisherConfiguration& publisher) {
  auto config = makePropertyMap();
  setProperty(config, endpointsToConnectToKey, publisher.endpointsToConnectTo);
  setProperty(config, endpointsToBindToKey, publisher.endpointsToBindTo);
  setProperty(config, "importFilter", publisher.importFilter);
  setProperty(config, "exportFilter", publisher.exportFilter);
  return config;
}

AnyMap encodePublisher(const SPFServicePublisherConfiguration& publisher) {
  auto entry = makePropertyMap();
  setProperty(entry, nameKey, publisher.name);
  setProperty(entry, uniqueIDKey, publisher.uniqueID);
  setProperty(entry, "factoryPID", factoryPID(publisher.name));
  setProperty(entry, configKey, encodePublisherConfig(publisher));
  return entry;
}

AnyMap encodeServiceInterface(const SPFServiceInterfaceConfiguration& serviceInterface) {
  auto version = makePropertyMap();
  setProperty(version, "major", 1);
  auto entry = makePropertyMap();
  setProperty(entry, nameKey, serviceInterface.name);
  setProperty(entry, uniqueIDKey, serviceInterface.uniqueID);
  setProperty(entry, "version", std::move(version));
  setProperty(entry, "requestedProperties", ptreeToAnyMap(serviceInterface.requestedProperties));
  return entry;
}

AnyMap encodeMapping(const std::string& serviceInterfaceID, const std::string& servicePublisherID) {
  auto entry = makePropertyMap();
  setProperty(entry, "serviceID", serviceInterfaceID);
  setProperty(entry, "publisherID", servicePublisherID);
  return entry;
}

List encodePublishers(const ServicePublishers& servicePublishers) {
  List list;
  list.reserve(servicePublishers.size());
  for (const auto& publisher : servicePublishers) {
    list.emplace_back(encodePublisher(publisher));
  }
  return list;
}

List encodeServiceInterfaces(const ServiceInterfaces& serviceInterfaces) {
  List list;
  list.reserve(serviceInterfaces.size());
  for (const auto& entry : serviceInterfaces) {
    list.emplace_back(encodeServiceInterface(entry.configuration));
  }
  return list;
}

bool isMapped(const ServiceMappings& serviceMappings, const std::string& serviceInterfaceID,
              const std::string& servicePublisherID) {
  return serviceMappings.find(std::tie(serviceInterfaceID, servicePublisherID)) != serviceMappings.end();
}

void appendImplicitMappings(List& list, const ServiceInterfaces& serviceInterfaces,
                            const ServicePublishers& servicePublishers, const ServiceMappings& serviceMappings) {
  for (const auto& entry : serviceInterfaces) {
    if (!entry.toAllServicePublishers) {
      continue;
    }
    const auto& serviceInterfaceID = entry.configuration.uniqueID;
    for (const auto& publisher : servicePublishers) {
      if (!isMapped(serviceMappings, serviceInterfaceID, publisher.uniqueID)) {
        list.emplace_back(encodeMapping(serviceInterfaceID, publisher.uniqueID));
      }
    }
  }
}

void appendExplicitMappings(List& list, const ServiceMappings& serviceMappings) {
  for (const auto& mapping : serviceMappings) {
    list.emplace_back(encodeMapping(mapping.serviceInterfaceID, mapping.servicePublisherID));
  }
}

}  // namespace

AnyMap encodeConfiguration(std::uint32_t modificationCount, const ServiceInterfaces& serviceInterfaces,
                           const ServicePublishers& servicePublishers, const ServiceMappings& serviceMappings) {
  auto publishers = encodePublishers(servicePublishers);
  auto interfaces = encodeServiceInterfaces(serviceInterfaces);
  List mappings;
  appendImplicitMappings(mappings, serviceInterfaces, servicePublishers, serviceMappings);
  appendExplicitMappings(mappings, serviceMappings);

  auto properties = makePropertyMap();
  setProperty(properties, "serviceConfigurations", std::move(interfaces));
  setProperty(properties, servicePublisherConfigurationsKey, std::move(publishers));
  setProperty(properties, "servicePublisherMappings", std::move(mappings));
  setProperty(properties, modificationCountKey, static_cast<int>(modificationCount));
  return properties;
}

}  // namespace agent::spf::frameworksetup
