#include "ConfigurationAdminService.hpp"

#include <utility>

#include "ConfigurationRegistry.hpp"
#include "cppmicroservices/LDAPFilter.h"

namespace cppmicroservices::configurationadmin {

namespace {

bool matches(const ConfigurationState& state, const LDAPFilter& filter) {
  AnyMap visible(*state.properties);
  visible["pid"] = state.record->pid;
  return filter.Match(visible);
}

}  // namespace

ConfigurationAdminService::ConfigurationAdminService(std::shared_ptr<ConfigurationRegistry> registry)
    : registry_(std::move(registry)) {}

ConfigurationAdminService::~ConfigurationAdminService() {
  try {
    registry_->withdrawAll();
  } catch (...) {
    // Out of memory. A destructor cannot report it, and the services keep configurations that still work.
  }
}

ConfigurationAdminService::ConfigurationPtr ConfigurationAdminService::GetConfiguration(const std::string& pid) {
  return registry_->obtain(pid);
}

ConfigurationAdminService::ConfigurationPtr ConfigurationAdminService::CreateFactoryConfiguration(
    const std::string& factoryPid) {
  return registry_->create(factoryPid);
}

ConfigurationAdminService::ConfigurationPtr ConfigurationAdminService::GetFactoryConfiguration(
    const std::string& factoryPid, const std::string& instanceName) {
  return registry_->obtain(factoryPid + '~' + instanceName);
}

// Leaves out a configuration that is removed meanwhile.
std::vector<ConfigurationAdminService::ConfigurationPtr> ConfigurationAdminService::ListConfigurations(
    const std::string& filter) {
  const auto parsed = filter.empty() ? LDAPFilter() : LDAPFilter(filter);
  std::vector<ConfigurationPtr> found;
  for (const auto& state : registry_->listUpdated()) {
    auto object = !parsed || matches(state, parsed) ? registry_->objectOf(state.record) : nullptr;
    if (object) {
      found.push_back(std::move(object));
    }
  }
  return found;
}

}  // namespace cppmicroservices::configurationadmin
