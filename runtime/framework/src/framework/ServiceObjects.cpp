#include "cppmicroservices/ServiceObjects.h"

#include <stdexcept>
#include <utility>

#include "core/HandleAccess.h"
#include "framework/ContextSession.h"
#include "services/ServiceRecord.h"

namespace cppmicroservices {

ServiceObjectsBase::ServiceObjectsBase(std::shared_ptr<BundleContextPrivate> context,
                                       const ServiceReferenceBase& reference)
    : context_(std::move(context)), reference_(reference) {
  if (!reference) {
    throw std::invalid_argument("The service reference is invalid");
  }
}

ServiceObjectsBase::ServiceObjectsBase(ServiceObjectsBase&& other) noexcept = default;
ServiceObjectsBase& ServiceObjectsBase::operator=(ServiceObjectsBase&& other) noexcept = default;
ServiceObjectsBase::~ServiceObjectsBase() = default;

namespace {

std::shared_ptr<ServiceUse> separateUse(const std::shared_ptr<BundleContextPrivate>& context,
                                        const ServiceReferenceBase& reference) {
  const ContextSession session(context);
  const auto& record = detail::HandleAccess::recordOf(reference);
  return record ? ServiceRecord::separateUse(record, session.client()) : nullptr;
}

}  // namespace

std::shared_ptr<void> ServiceObjectsBase::GetService() const {
  return ServiceUse::object(separateUse(context_, reference_), detail::HandleAccess::interfaceIdOf(reference_));
}

InterfaceMapConstPtr ServiceObjectsBase::GetServiceInterfaceMap() const {
  return ServiceUse::interfaces(separateUse(context_, reference_));
}

ServiceReferenceBase ServiceObjectsBase::GetReference() const {
  return reference_;
}

}  // namespace cppmicroservices
