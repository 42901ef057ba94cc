#include "cppmicroservices/ServiceRegistrationBase.h"

#include <stdexcept>
#include <utility>

#include "core/HandleAccess.h"
#include "services/ServiceRecord.h"
#include "services/ServiceRegistry.h"

namespace cppmicroservices {

ServiceRegistrationBase::ServiceRegistrationBase() = default;
ServiceRegistrationBase::ServiceRegistrationBase(std::shared_ptr<ServiceRecord> record) : record_(std::move(record)) {}
ServiceRegistrationBase::ServiceRegistrationBase(const ServiceRegistrationBase& other) = default;
ServiceRegistrationBase::ServiceRegistrationBase(ServiceRegistrationBase&& other) noexcept = default;
ServiceRegistrationBase& ServiceRegistrationBase::operator=(const ServiceRegistrationBase& other) = default;
ServiceRegistrationBase& ServiceRegistrationBase::operator=(ServiceRegistrationBase&& other) noexcept = default;
ServiceRegistrationBase::~ServiceRegistrationBase() = default;

ServiceRegistrationBase& ServiceRegistrationBase::operator=(std::nullptr_t) {
  record_ = nullptr;
  return *this;
}

ServiceRegistrationBase::operator bool() const {
  return record_ != nullptr;
}

ServiceRecord& ServiceRegistrationBase::valid() const {
  if (!record_) {
    throw std::logic_error("ServiceRegistrationBase object invalid");
  }
  return *record_;
}

ServiceReferenceBase ServiceRegistrationBase::GetReference(const std::string& interfaceId) const {
  auto& record = valid();
  record.requireRegistered();
  return detail::HandleAccess::reference(record.shared_from_this(), record.findClass(interfaceId));
}

void ServiceRegistrationBase::SetProperties(const ServiceProperties& properties) {
  const auto kept = valid().shared_from_this();
  if (const auto registry = kept->registry.lock()) {
    registry->setProperties(kept, properties);
  }
}

void ServiceRegistrationBase::SetProperties(ServiceProperties&& properties) {
  SetProperties(static_cast<const ServiceProperties&>(properties));
}

void ServiceRegistrationBase::Unregister() {
  const auto kept = valid().shared_from_this();  // a listener may destroy or replace this very object
  if (const auto registry = kept->registry.lock()) {
    registry->unregister(kept);
  }
}

bool ServiceRegistrationBase::operator<(const ServiceRegistrationBase& other) const {
  if (!record_ || !other.record_) {
    return !record_ && other.record_;
  }
  return precedes(*other.record_, *record_);
}

bool ServiceRegistrationBase::operator==(const ServiceRegistrationBase& other) const {
  return record_ == other.record_;
}

std::ostream& operator<<(std::ostream& out, const ServiceRegistrationBase& registration) {
  return out << (registration ? "Registration of a service" : "Registration of no service");
}

}  // namespace cppmicroservices
