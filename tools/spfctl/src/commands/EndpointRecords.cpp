#include "commands/EndpointRecords.hpp"

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>

#include "agent/host/services.hpp"
#include "agent/spf/frameworksupport/findService.hpp"

namespace spfctl {

using agent::spf::frameworkinterfaces::EndpointState;
using agent::spf::frameworkinterfaces::EndpointStatus;

EndpointRecords::EndpointRecords(Changes& changes) : changes_(changes) {}

EndpointRecords::~EndpointRecords() {
  if (listener_) {
    service_->removeListener(*listener_);
  }
}

std::vector<EndpointState> EndpointRecords::list() {
  if (!service_) {
    findService();
  }
  return service_ ? service_->list() : std::vector<EndpointState>();
}

void EndpointRecords::findService() {
  service_ = agent::spf::frameworksupport::findService<EndpointStatus>(
      agent::host::services::getFramework()->GetBundleContext());
  if (service_) {
    listener_ = service_->addListener([&changes = changes_] { changes.note(); });
  }
}

}  // namespace spfctl
