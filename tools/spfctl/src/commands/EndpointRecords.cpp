#include "commands/EndpointRecords.hpp"

#include <utility>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>

#include "agent/host/services.hpp"
#include "agent/spf/frameworksupport/findService.hpp"

namespace spfctl {

using agent::spf::frameworkinterfaces::EndpointState;
using agent::spf::frameworkinterfaces::EndpointStatus;

EndpointRecords::EndpointRecords(Changes& changes) : changes_(changes) {}

EndpointRecords::~EndpointRecords() {
  forget();
}

std::vector<EndpointState> EndpointRecords::list() {
  auto current = agent::spf::frameworksupport::findService<EndpointStatus>(
      agent::host::services::getFramework()->GetBundleContext());
  if (current != service_) {
    forget();
    service_ = std::move(current);
    if (service_) {
      listener_ = service_->addListener([&changes = changes_] { changes.note(); });
    }
  }
  return service_ ? service_->list() : std::vector<EndpointState>();
}

// The bundle may have been restarted, and offers another service then.
void EndpointRecords::forget() {
  if (service_ && listener_) {
    service_->removeListener(*listener_);
  }
  listener_.reset();
}

}  // namespace spfctl
