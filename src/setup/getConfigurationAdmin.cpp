#include "setup/getConfigurationAdmin.hpp"

#include <stdexcept>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/ServiceObjects.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

#include "agent/host/services.hpp"

namespace agent::spf::frameworksetup {

using cppmicroservices::service::cm::ConfigurationAdmin;

std::shared_ptr<ConfigurationAdmin> getConfigurationAdmin(const cppmicroservices::LDAPFilter& filter) {
  const auto framework = agent::host::services::getFramework();
  if (!framework) {
    return nullptr;
  }
  auto context = framework->GetBundleContext();
  const auto references = context.GetServiceReferences<ConfigurationAdmin>(filter.ToString());
  if (references.empty()) {
    return nullptr;
  }
  // The framework may have been stopped meanwhile.
  if (!context) {
    throw std::runtime_error("The bundle context is no longer valid");
  }
  return context.GetServiceObjects(references.front()).GetService();
}

}  // namespace agent::spf::frameworksetup
