#include "publish/SPFConfigurationImpl.hpp"

#include "setup/diagnosticLog.hpp"
#include "tracking/SPFConfigurationUpdateTracker.hpp"
#include "tracking/removeFromConfigurationAdmin.hpp"

namespace agent::spf::frameworksetup {

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

OutstandingEndpoints SPFConfigurationImpl::listOutstandingEndpoints(const std::string& servicePublisherID) {
  if (!updateTracker) {
    return {};
  }
  return updateTracker->listOutstandingEndpoints(servicePublisherID);
}

}  // namespace agent::spf::frameworksetup
