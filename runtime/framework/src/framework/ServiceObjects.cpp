#include "cppmicroservices/ServiceObjects.h"

#include <stdexcept>
#include <utility>

#include "core/BundleContextPrivate.h"
#include "core/HandleAccess.h"
#include "framework/FrameworkCore.h"
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
  if (!context) {
    BundleContextPrivate::throwInvalid();  // this object was moved from
  }
  const auto session = context->require();
  const auto& record = detail::HandleAccess::recordOf(reference);
  return record ? ServiceRecord::separateUse(record, session.bundle) : nullptr;
}

}  // namespace

std::shared_ptr<void> ServiceObjectsBase::GetService() const {
  return ServiceUse::object(separateUse(context_, reference_), reference_.GetInterfaceId());
}

InterfaceMapConstPtr ServiceObjectsBase::GetServiceInterfaceMap() const {
  return ServiceUse::interfaces(separateUse(context_, reference_));
}

ServiceReferenceBase ServiceObjectsBase::GetReference() const {
  return reference_;
}

}  // namespace cppmicroservices
