#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"

#include <tuple>
#include <utility>

#include "model/SPFConfigurationBuilderImpl.hpp"
#include "model/endpointList.hpp"
#include "model/validateServiceMappings.hpp"
#include "publish/SPFConfigurationImpl.hpp"

namespace agent::spf::frameworksetup {

namespace {

std::unique_ptr<SPFConfigurationBuilderImpl> freshImplementation() {
  return std::make_unique<SPFConfigurationBuilderImpl>(std::string());
}

// Swap everything but the ID, which is the same. The property tree has no move, so records are swapped
// into place: that copies nothing and cannot fail, where an exception inside a container's modify()
// would erase the entry.
void swapRecords(SPFServiceInterfaceConfiguration& left, SPFServiceInterfaceConfiguration& right) noexcept {
  left.name.swap(right.name);
  left.requestedProperties.swap(right.requestedProperties);
}

void swapRecords(SPFServicePublisherConfiguration& left, SPFServicePublisherConfiguration& right) noexcept {
  left.name.swap(right.name);
  left.endpointsToConnectTo.swap(right.endpointsToConnectTo);
  left.endpointsToBindTo.swap(right.endpointsToBindTo);
  left.importFilter.swap(right.importFilter);
  left.exportFilter.swap(right.exportFilter);
}

SPFServiceInterfaceConfiguration serviceInterfaceRecord(std::string&& uniqueID, std::string&& name,
                                                        boost::property_tree::ptree& requestedProperties) {
  SPFServiceInterfaceConfiguration record{std::move(uniqueID), std::move(name), {}};
  record.requestedProperties.swap(requestedProperties);
  return record;
}

// Adds the interface, or replaces the one of its ID, and marks it if asked to. A new entry first gets
// nothing but its ID: the rest is swapped in.
void put(SPFServiceInterfaceConfiguration& serviceInterface, bool toAllServicePublishers, ServiceInterfaces& entries) {
  auto position = entries.find(serviceInterface.uniqueID);
  if (position == entries.end()) {
    position = entries.insert({{std::move(serviceInterface.uniqueID), {}, {}}, toAllServicePublishers}).first;
  }
  entries.modify(position, [&](ServiceInterfaceEntry& entry) {
    swapRecords(entry.configuration, serviceInterface);
    entry.toAllServicePublishers = entry.toAllServicePublishers || toAllServicePublishers;
  });
}

}  // namespace

SPFConfigurationBuilder::SPFConfigurationBuilder(std::string configurationID)
    : impl_(std::make_unique<SPFConfigurationBuilderImpl>(std::move(configurationID))) {}

SPFConfigurationBuilder::SPFConfigurationBuilder(std::unique_ptr<SPFConfigurationBuilderImpl> impl) noexcept
    : impl_(std::move(impl)) {}

// The fresh implementation comes first in both moves: if it cannot be had, nothing has changed.
SPFConfigurationBuilder::SPFConfigurationBuilder(SPFConfigurationBuilder&& other) : impl_(freshImplementation()) {
  impl_.swap(other.impl_);
}

SPFConfigurationBuilder& SPFConfigurationBuilder::operator=(SPFConfigurationBuilder&& other) {
  if (this != &other) {
    auto fresh = freshImplementation();
    impl_ = std::exchange(other.impl_, std::move(fresh));
  }
  return *this;
}

SPFConfigurationBuilder::~SPFConfigurationBuilder() = default;

SPFConfigurationBuilder& SPFConfigurationBuilder::addServiceInterface(
    SPFServiceInterfaceConfiguration serviceInterface) {
  put(serviceInterface, false, impl_->serviceInterfaces);
  return *this;
}

SPFConfigurationBuilder& SPFConfigurationBuilder::addServiceInterface(std::string uniqueID, std::string name,
                                                                      boost::property_tree::ptree requestedProperties) {
  return addServiceInterface(serviceInterfaceRecord(std::move(uniqueID), std::move(name), requestedProperties));
}

SPFConfigurationBuilder& SPFConfigurationBuilder::addServiceInterfaceToAllServicePublishers(
    SPFServiceInterfaceConfiguration serviceInterface) {
  put(serviceInterface, true, impl_->serviceInterfaces);
  return *this;
}

SPFConfigurationBuilder& SPFConfigurationBuilder::addServiceInterfaceToAllServicePublishers(
    std::string uniqueID, std::string name, boost::property_tree::ptree requestedProperties) {
  return addServiceInterfaceToAllServicePublishers(
      serviceInterfaceRecord(std::move(uniqueID), std::move(name), requestedProperties));
}

SPFConfigurationBuilder& SPFConfigurationBuilder::addServiceInterfaceToServicePublisher(
    const std::string& servicePublisherID, SPFServiceInterfaceConfiguration serviceInterface) {
  addServiceMapping(serviceInterface.uniqueID, servicePublisherID);
  put(serviceInterface, false, impl_->serviceInterfaces);
  return *this;
}

SPFConfigurationBuilder& SPFConfigurationBuilder::addServiceInterfaceToServicePublisher(
    const std::string& servicePublisherID, std::string uniqueID, std::string name,
    boost::property_tree::ptree requestedProperties) {
  return addServiceInterfaceToServicePublisher(
      servicePublisherID, serviceInterfaceRecord(std::move(uniqueID), std::move(name), requestedProperties));
}

SPFConfigurationBuilder& SPFConfigurationBuilder::addServiceMapping(const std::string& serviceInterfaceID,
                                                                    const std::string& servicePublisherID) {
  impl_->serviceMappings.insert(ServiceMapping{serviceInterfaceID, servicePublisherID});
  return *this;
}

SPFConfigurationBuilder& SPFConfigurationBuilder::addServicePublisher(
    SPFServicePublisherConfiguration servicePublisher) {
  auto& publishers = impl_->servicePublishers;
  const auto found = publishers.find(servicePublisher.uniqueID);
  if (found == publishers.end()) {
    publishers.insert(std::move(servicePublisher));
  } else {
    publishers.modify(found,
                      [&](SPFServicePublisherConfiguration& present) { swapRecords(present, servicePublisher); });
  }
  return *this;
}

SPFConfigurationBuilder& SPFConfigurationBuilder::addServicePublisher(std::string uniqueID, std::string name,
                                                                      std::set<std::string> endpointsToConnectTo,
                                                                      std::set<std::string> endpointsToBindTo,
                                                                      std::string importFilter,
                                                                      std::string exportFilter) {
  return addServicePublisherAny(std::move(uniqueID), std::move(name), endpointList(endpointsToConnectTo),
                                endpointList(endpointsToBindTo), std::move(importFilter), std::move(exportFilter));
}

SPFConfigurationBuilder& SPFConfigurationBuilder::addServicePublisherAny(
    std::string uniqueID, std::string name, std::vector<cppmicroservices::Any> endpointsToConnectTo,
    std::vector<cppmicroservices::Any> endpointsToBindTo, std::string importFilter, std::string exportFilter) {
  return addServicePublisher({std::move(uniqueID), std::move(name), std::move(endpointsToConnectTo),
                              std::move(endpointsToBindTo), std::move(importFilter), std::move(exportFilter)});
}

SPFConfigurationBuilder& SPFConfigurationBuilder::removeServiceInterface(const std::string& uniqueID) {
  impl_->serviceInterfaces.erase(uniqueID);
  const auto mapped = impl_->serviceMappings.equal_range(std::tie(uniqueID));
  impl_->serviceMappings.erase(mapped.first, mapped.second);
  return *this;
}

SPFConfigurationBuilder& SPFConfigurationBuilder::removeServicePublisher(const std::string& uniqueID) {
  impl_->servicePublishers.erase(uniqueID);
  impl_->serviceMappings.get<1>().erase(uniqueID);
  return *this;
}

SPFConfigurationBuilder& SPFConfigurationBuilder::removeServiceMapping(const std::string& serviceInterfaceID,
                                                                       const std::string& servicePublisherID) {
  const auto mapping = impl_->serviceMappings.find(std::tie(serviceInterfaceID, servicePublisherID));
  if (mapping != impl_->serviceMappings.end()) {
    impl_->serviceMappings.erase(mapping);
  }
  return *this;
}

SPFConfigurationBuilder& SPFConfigurationBuilder::undoMappingOfServiceInterfaceToAllServicePublishers(
    const std::string& uniqueID) {
  auto& entries = impl_->serviceInterfaces;
  const auto found = entries.find(uniqueID);
  if (found != entries.end()) {
    entries.modify(found, [](ServiceInterfaceEntry& entry) { entry.toAllServicePublishers = false; });
  }
  return *this;
}

SPFConfiguration SPFConfigurationBuilder::build() {
  validateServiceMappings(impl_->serviceInterfaces, impl_->servicePublishers, impl_->serviceMappings);
  auto serviceInterfaces = impl_->serviceInterfaces;
  auto servicePublishers = impl_->servicePublishers;
  auto serviceMappings = impl_->serviceMappings;
  auto configuration = std::make_unique<SPFConfigurationImpl>(std::exchange(impl_->configurationID, std::string()),
                                                              impl_->modificationCount, std::move(serviceInterfaces),
                                                              std::move(servicePublishers), std::move(serviceMappings));
  impl_->seededFromConfiguration = false;
  return SPFConfiguration(std::move(configuration));
}

}  // namespace agent::spf::frameworksetup
