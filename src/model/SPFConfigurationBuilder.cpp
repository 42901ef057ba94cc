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

// No index looks at other members than the IDs and marks, so these may change in place, without the searches that a
// container's modify() makes.
template <class Record>
Record& unindexedMembersOf(const Record& element) {
  return const_cast<Record&>(element);  // no element is made constant
}

// The ID is the same on both sides. The property tree has no move, so records are swapped into place:
// that copies nothing and cannot fail.
void swapAllButID(SPFServiceInterfaceConfiguration& left, SPFServiceInterfaceConfiguration& right) noexcept {
  left.name.swap(right.name);
  left.requestedProperties.swap(right.requestedProperties);
}

void swapAllButID(SPFServicePublisherConfiguration& left, SPFServicePublisherConfiguration& right) noexcept {
  left.name.swap(right.name);
  left.endpointsToConnectTo.swap(right.endpointsToConnectTo);
  left.endpointsToBindTo.swap(right.endpointsToBindTo);
  left.importFilter.swap(right.importFilter);
  left.exportFilter.swap(right.exportFilter);
}

SPFServiceInterfaceConfiguration makeServiceInterface(std::string&& uniqueID, std::string&& name,
                                                      boost::property_tree::ptree&& requestedProperties) {
  SPFServiceInterfaceConfiguration record{std::move(uniqueID), std::move(name), {}};
  record.requestedProperties.swap(requestedProperties);
  return record;
}

enum class Marking { unchanged, toAllServicePublishers };

// Adds the interface, or replaces the one with its ID.
void addOrReplace(ServiceInterfaces& entries, SPFServiceInterfaceConfiguration&& serviceInterface, Marking marking) {
  const bool toAllServicePublishers = marking == Marking::toAllServicePublishers;
  auto& [uniqueID, name, requestedProperties] = serviceInterface;
  const auto found = entries.find(uniqueID);
  if (found == entries.end()) {
    const auto added = entries.emplace(std::move(uniqueID), std::move(name), toAllServicePublishers).first;
    unindexedMembersOf(added->configuration).requestedProperties.swap(requestedProperties);
    return;
  }
  if (toAllServicePublishers) {
    entries.modify(found, [](ServiceInterfaceEntry& entry) { entry.toAllServicePublishers = true; });
  }
  swapAllButID(unindexedMembersOf(found->configuration), serviceInterface);
}

}  // namespace

SPFConfigurationBuilder::SPFConfigurationBuilder(std::string configurationID)
    : impl_(std::make_unique<SPFConfigurationBuilderImpl>(std::move(configurationID))) {}

SPFConfigurationBuilder::SPFConfigurationBuilder(std::unique_ptr<SPFConfigurationBuilderImpl> impl) noexcept
    : impl_(std::move(impl)) {}

// Both moves make the fresh implementation first: if that fails, nothing has changed.
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
  addOrReplace(impl_->serviceInterfaces, std::move(serviceInterface), Marking::unchanged);
  return *this;
}

SPFConfigurationBuilder& SPFConfigurationBuilder::addServiceInterface(std::string uniqueID, std::string name,
                                                                      boost::property_tree::ptree requestedProperties) {
  return addServiceInterface(
      makeServiceInterface(std::move(uniqueID), std::move(name), std::move(requestedProperties)));
}

SPFConfigurationBuilder& SPFConfigurationBuilder::addServiceInterfaceToAllServicePublishers(
    SPFServiceInterfaceConfiguration serviceInterface) {
  addOrReplace(impl_->serviceInterfaces, std::move(serviceInterface), Marking::toAllServicePublishers);
  return *this;
}

SPFConfigurationBuilder& SPFConfigurationBuilder::addServiceInterfaceToAllServicePublishers(
    std::string uniqueID, std::string name, boost::property_tree::ptree requestedProperties) {
  return addServiceInterfaceToAllServicePublishers(
      makeServiceInterface(std::move(uniqueID), std::move(name), std::move(requestedProperties)));
}

SPFConfigurationBuilder& SPFConfigurationBuilder::addServiceInterfaceToServicePublisher(
    const std::string& servicePublisherID, SPFServiceInterfaceConfiguration serviceInterface) {
  addServiceMapping(serviceInterface.uniqueID, servicePublisherID);
  addOrReplace(impl_->serviceInterfaces, std::move(serviceInterface), Marking::unchanged);
  return *this;
}

SPFConfigurationBuilder& SPFConfigurationBuilder::addServiceInterfaceToServicePublisher(
    const std::string& servicePublisherID, std::string uniqueID, std::string name,
    boost::property_tree::ptree requestedProperties) {
  return addServiceInterfaceToServicePublisher(
      servicePublisherID, makeServiceInterface(std::move(uniqueID), std::move(name), std::move(requestedProperties)));
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
    swapAllButID(unindexedMembersOf(*found), servicePublisher);
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
