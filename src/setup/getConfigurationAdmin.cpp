#include "setup/getConfigurationAdmin.hpp"

#include <optional>
#include <stdexcept>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/ServiceObjects.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

#include "agent/host/services.hpp"

namespace agent::spf::frameworksetup {

using cppmicroservices::BundleContext;
using cppmicroservices::LDAPFilter;
using cppmicroservices::ServiceObjects;
using cppmicroservices::ServiceReference;
using cppmicroservices::service::cm::ConfigurationAdmin;

namespace {

// The framework may have been stopped meanwhile.
void requireValid(const BundleContext& context) {
  if (!context) {
    throw std::runtime_error("The bundle context is no longer valid");
  }
}

// None if the service was unregistered since it was looked up.
std::optional<ServiceObjects<ConfigurationAdmin>> serviceObjects(
    BundleContext& context, const ServiceReference<ConfigurationAdmin>& reference) {
  try {
    return context.GetServiceObjects(reference);
  } catch (const std::invalid_argument&) {
    return std::nullopt;
  }
}

}  // namespace

std::shared_ptr<ConfigurationAdmin> getConfigurationAdmin(const LDAPFilter& filter) {
  const auto framework = agent::host::services::getFramework();
  if (!framework) {
    return nullptr;
  }
  auto context = framework->GetBundleContext();
  const auto references = context.GetServiceReferences<ConfigurationAdmin>(filter.ToString());
  if (references.empty()) {
    return nullptr;
  }
  requireValid(context);
  const auto objects = serviceObjects(context, references.front());
  if (!objects) {
    requireValid(context);
    return nullptr;
  }
  return objects->GetService();
}

std::shared_ptr<ConfigurationAdmin> getConfigurationAdmin() {
  return getConfigurationAdmin(LDAPFilter());
}

}  // namespace agent::spf::frameworksetup
