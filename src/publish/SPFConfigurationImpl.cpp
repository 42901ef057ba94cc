#include "publish/SPFConfigurationImpl.hpp"

#include <stdexcept>

#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

#include "publish/configurationIdentity.hpp"
#include "publish/encodeConfiguration.hpp"
#include "setup/diagnosticLog.hpp"
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
  // The tracker listens before the framework can hear of the configuration, so it misses nothing.
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

bool SPFConfigurationImpl::waitForAllEndpoints(const std::chrono::milliseconds& timeout,
                                               const std::string& servicePublisherID) {
  return updateTracker && updateTracker->waitForAllEndpoints(timeout, servicePublisherID);
}

bool SPFConfigurationImpl::waitForAllServices(const std::chrono::milliseconds& timeout,
                                              const std::string& servicePublisherID) {
  return updateTracker && updateTracker->waitForAllServices(timeout, servicePublisherID);
}

bool SPFConfigurationImpl::waitForAllServicesToBeUnpublished(const std::chrono::milliseconds& timeout,
                                                             const std::string& servicePublisherID) {
  if (!updateTracker) {
    return false;
  }
  updateTracker->prepareForRemoval();
  try {
    removeFromConfigurationAdmin(configurationID);
  } catch (...) {
    logSwallowedException("removeFromConfigurationAdmin() in waitForAllServicesToBeUnpublished() threw.");
  }
  configurationID.clear();
  return updateTracker->waitForAllServicesToBeUnpublished(timeout, servicePublisherID);
}

std::pair<std::vector<cppmicroservices::Any>, std::vector<cppmicroservices::Any>>
SPFConfigurationImpl::listOutstandingEndpoints(const std::string& servicePublisherID) {
  if (!updateTracker) {
    return {};
  }
  return updateTracker->listOutstandingEndpoints(servicePublisherID);
}

}  // namespace agent::spf::frameworksetup
