#include "publish/SPFConfigurationImpl.hpp"

#include <stdexcept>

#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

#include "publish/configurationIdentity.hpp"
#include "publish/encodeConfiguration.hpp"
#include "setup/getConfigurationAdmin.hpp"
#include "setup/installFrameworkBundles.hpp"
#include "tracking/SPFConfigurationUpdateTracker.hpp"
#include "tracking/removeFromConfigurationAdmin.hpp"

namespace agent::spf::frameworksetup {

using cppmicroservices::service::cm::Configuration;
using cppmicroservices::service::cm::ConfigurationAdmin;

namespace {

std::shared_ptr<Configuration> required(std::shared_ptr<Configuration> configuration) {
  if (!configuration) {
    throw std::runtime_error("Cannot publish: Configuration Admin answered no configuration");
  }
  return configuration;
}

}  // namespace

SPFConfigurationImpl::SPFConfigurationImpl(std::string id, std::uint32_t count, ServiceInterfaces interfaces,
                                           ServicePublishers publishers, ServiceMappings mappings)
    : configurationID(std::move(id)),
      modificationCount(count + 1),
      serviceInterfaces(std::move(interfaces)),
      servicePublishers(std::move(publishers)),
      serviceMappings(std::move(mappings)) {
  publishToConfigurationAdmin();
}

SPFConfigurationImpl::~SPFConfigurationImpl() {
  removeFromConfigurationAdminQuietly(configurationID);
}

void SPFConfigurationImpl::publishToConfigurationAdmin() {
  installFrameworkBundles();
  auto properties = encodeConfiguration(modificationCount, serviceInterfaces, servicePublishers, serviceMappings);
  const auto configurationAdmin = getConfigurationAdmin();
  if (!configurationAdmin) {
    configurationID.clear();
    return;
  }
  const auto configuration = obtainConfiguration(*configurationAdmin);
  // The tracker listens before the framework receives the configuration, so it misses no event.
  updateTracker = SPFConfigurationUpdateTracker::create(properties);
  configuration->Update(std::move(properties));
}

std::shared_ptr<Configuration> SPFConfigurationImpl::obtainConfiguration(ConfigurationAdmin& configurationAdmin) {
  if (!configurationID.empty()) {
    return required(configurationAdmin.GetFactoryConfiguration(frameworkFactoryPID, configurationID));
  }
  auto configuration = required(configurationAdmin.CreateFactoryConfiguration(frameworkFactoryPID));
  const auto pid = configuration->GetPid();
  if (pid.size() > instanceNameOffset) {
    configurationID = pid.substr(instanceNameOffset);
  }
  return configuration;
}

}  // namespace agent::spf::frameworksetup
