#include "services/ServiceClient.h"

#include <utility>

#include "core/HandleAccess.h"

namespace cppmicroservices {

Bundle ServiceClient::handle() const {
  const auto listeners = framework.lock();
  return listeners ? listeners->handles().of(bundle) : detail::HandleAccess::bundle(bundle, nullptr);
}

void ServiceClient::report(FrameworkEvent::Type type, const std::string& message, std::exception_ptr exception) const {
  if (const auto listeners = framework.lock()) {
    listeners->report(type, bundle, message, std::move(exception));
  }
}

}  // namespace cppmicroservices
