#include "agent/spf/frameworksetup/SPFConfiguration.hpp"

#include <iterator>
#include <set>

#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"
#include "model/SPFConfigurationBuilderImpl.hpp"
#include "publish/SPFConfigurationImpl.hpp"

namespace agent::spf::frameworksetup {

namespace {

// IDs of the interfaces that are mapped to the publisher.
std::set<std::string> mappedServiceInterfaceIDs(const ServiceMappings& serviceMappings,
                                                const std::string& servicePublisherID) {
  std::set<std::string> ids;
  const auto mapped = serviceMappings.get<1>().equal_range(servicePublisherID);
  for (auto mapping = mapped.first; mapping != mapped.second; ++mapping) {
    ids.insert(mapping->serviceInterfaceID);
  }
  return ids;
}

}  // namespace

SPFConfiguration::SPFConfiguration() noexcept = default;

SPFConfiguration::SPFConfiguration(std::unique_ptr<SPFConfigurationImpl> impl) noexcept : impl_(std::move(impl)) {}

SPFConfiguration::SPFConfiguration(SPFConfiguration&& other) noexcept = default;

SPFConfiguration& SPFConfiguration::operator=(SPFConfiguration&& other) noexcept = default;

SPFConfiguration::~SPFConfiguration() = default;

bool SPFConfiguration::empty() const noexcept {
  return impl_ == nullptr;
}

const std::string SPFConfiguration::getConfigurationID() const {
  return impl_->configurationID;
}

std::vector<SPFServiceInterfaceConfiguration> SPFConfiguration::getServiceInterfaceConfigurations() const {
  if (!impl_) {
    return {};
  }
  std::vector<SPFServiceInterfaceConfiguration> result;
  result.reserve(impl_->serviceInterfaces.size());
  for (const auto& entry : impl_->serviceInterfaces) {
    result.push_back(entry.configuration);
  }
  return result;
}

std::vector<SPFServicePublisherConfiguration> SPFConfiguration::getServicePublisherConfigurations() const {
  if (!impl_) {
    return {};
  }
  return {impl_->servicePublishers.begin(), impl_->servicePublishers.end()};
}

std::vector<SPFServiceInterfaceConfiguration> SPFConfiguration::getServiceInterfaceConfigurationsForServicePublisher(
    const std::string& servicePublisherID) const {
  if (!impl_) {
    return {};
  }
  auto mapped = mappedServiceInterfaceIDs(impl_->serviceMappings, servicePublisherID);
  const auto toAll = impl_->serviceInterfaces.get<1>().equal_range(true);
  std::vector<SPFServiceInterfaceConfiguration> result;
  // Room for all, since a list that grows copies its records: property trees have no move.
  result.reserve(static_cast<std::size_t>(std::distance(toAll.first, toAll.second)) + mapped.size());
  for (auto entry = toAll.first; entry != toAll.second; ++entry) {
    result.push_back(entry->configuration);
    mapped.erase(entry->configuration.uniqueID);
  }
  for (const auto& uniqueID : mapped) {
    const auto entry = impl_->serviceInterfaces.find(uniqueID);
    if (entry != impl_->serviceInterfaces.end()) {
      result.push_back(entry->configuration);
    }
  }
  return result;
}

SPFConfigurationBuilder SPFConfiguration::modify() {
  if (!impl_) {
    return SPFConfigurationBuilder("");
  }
  auto seeded = std::make_unique<SPFConfigurationBuilderImpl>(impl_->modificationCount, impl_->serviceInterfaces,
                                                              impl_->servicePublishers, impl_->serviceMappings);
  // The identity is moved last: copying can fail, moving it cannot.
  seeded->configurationID.swap(impl_->configurationID);
  seeded->seededFromConfiguration = true;
  return SPFConfigurationBuilder(std::move(seeded));
}

}  // namespace agent::spf::frameworksetup
