#include "ConfigurationAdminService.hpp"

#include <utility>

#include "ConfigurationRegistry.hpp"
#include "cppmicroservices/LDAPFilter.h"

namespace cppmicroservices::configurationadmin {

namespace {

bool matches(ConfigurationState const& state, LDAPFilter const& filter) {
  AnyMap visible(*state.properties);
  visible["pid"] = state.record->pid;
  return filter.Match(visible);
}

}  // namespace

ConfigurationAdminService::ConfigurationAdminService(std::shared_ptr<ConfigurationRegistry> registry)
    : registry_(std::move(registry)) {}

ConfigurationAdminService::~ConfigurationAdminService() {
  try {
    registry_->takeAllAway();
  } catch (...) {
    // Out of memory. There is nobody left who could be told, and the services come to no harm.
  }
}

ConfigurationAdminService::ConfigurationPtr ConfigurationAdminService::GetConfiguration(std::string const& pid) {
  return registry_->obtain(pid);
}

ConfigurationAdminService::ConfigurationPtr ConfigurationAdminService::CreateFactoryConfiguration(
    std::string const& factoryPid) {
  return registry_->create(factoryPid);
}

ConfigurationAdminService::ConfigurationPtr ConfigurationAdminService::GetFactoryConfiguration(
    std::string const& factoryPid, std::string const& instanceName) {
  return registry_->obtain(factoryPid + '~' + instanceName);
}

// One that is removed while the others are looked at is left out.
std::vector<ConfigurationAdminService::ConfigurationPtr> ConfigurationAdminService::ListConfigurations(
    std::string const& filter) {
  auto const parsed = filter.empty() ? LDAPFilter() : LDAPFilter(filter);
  std::vector<ConfigurationPtr> found;
  for (auto const& state : registry_->updated()) {
    auto object = !parsed || matches(state, parsed) ? registry_->objectOf(state.record) : nullptr;
    if (object) {
      found.push_back(std::move(object));
    }
  }
  return found;
}

}  // namespace cppmicroservices::configurationadmin
