#include "agent/spf/frameworksetup/SPFConfiguration.hpp"

#include "publish/SPFConfigurationImpl.hpp"

namespace agent::spf::frameworksetup {

bool SPFConfiguration::waitForAllEndpoints(const std::chrono::milliseconds& timeout,
                                           const std::string& servicePublisherID) {
  return impl_ && impl_->waitForAllEndpoints(timeout, servicePublisherID);
}

bool SPFConfiguration::waitForAllServices(const std::chrono::milliseconds& timeout,
                                          const std::string& servicePublisherID) {
  return impl_ && impl_->waitForAllServices(timeout, servicePublisherID);
}

bool SPFConfiguration::waitForAllServicesToBeUnpublished(const std::chrono::milliseconds& timeout,
                                                         const std::string& servicePublisherID) {
  return impl_ && impl_->waitForAllServicesToBeUnpublished(timeout, servicePublisherID);
}

std::pair<std::vector<cppmicroservices::Any>, std::vector<cppmicroservices::Any>>
SPFConfiguration::listOutstandingEndpoints(const std::string& servicePublisherID) {
  if (!impl_) {
    return {};
  }
  return impl_->listOutstandingEndpoints(servicePublisherID);
}

void SPFConfiguration::reset() noexcept {
  // Empties the handle first: its configuration is destroyed when it is no longer reachable.
  const auto taken = std::move(impl_);
}

}  // namespace agent::spf::frameworksetup
