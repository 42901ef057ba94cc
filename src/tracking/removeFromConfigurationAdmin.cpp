#include "tracking/removeFromConfigurationAdmin.hpp"

#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

#include "publish/configurationIdentity.hpp"
#include "setup/diagnosticLog.hpp"
#include "setup/getConfigurationAdmin.hpp"

namespace agent::spf::frameworksetup {

void removeFromConfigurationAdmin(const std::string& configurationID) {
  if (configurationID.empty()) {
    return;
  }
  const auto configurationAdmin = getConfigurationAdmin();
  if (!configurationAdmin) {
    return;
  }
  logProgress("About to remove spf configuration for ", configurationID);
  if (const auto configuration = configurationAdmin->GetFactoryConfiguration(frameworkFactoryPID, configurationID)) {
    configuration->Remove();
  }
}

void removeFromConfigurationAdminQuietly(const std::string& configurationID) noexcept {
  try {
    removeFromConfigurationAdmin(configurationID);
  } catch (...) {
    // A destructor cannot report failures.
  }
}

}  // namespace agent::spf::frameworksetup
