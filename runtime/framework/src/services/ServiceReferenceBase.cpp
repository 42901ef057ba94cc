#include "cppmicroservices/ServiceReferenceBase.h"

#include <stdexcept>
#include <utility>

#include "core/HandleAccess.h"
#include "cppmicroservices/Constants.h"
#include "services/ServiceRecord.h"

namespace cppmicroservices {

ServiceReferenceBase::ServiceReferenceBase() = default;
ServiceReferenceBase::ServiceReferenceBase(const ServiceReferenceBase& other) = default;
ServiceReferenceBase& ServiceReferenceBase::operator=(const ServiceReferenceBase& other) = default;
ServiceReferenceBase::~ServiceReferenceBase() = default;

ServiceReferenceBase::ServiceReferenceBase(std::shared_ptr<ServiceRecord> record, const std::string* interfaceId)
    : record_(std::move(record)), interfaceId_(interfaceId) {}

ServiceReferenceBase& ServiceReferenceBase::operator=(std::nullptr_t) {
  record_ = nullptr;
  interfaceId_ = nullptr;
  return *this;
}

ServiceReferenceBase::operator bool() const {
  return record_ && record_->isRegistered();
}

Any ServiceReferenceBase::GetProperty(const std::string& key) const {
  if (!record_) {
    return Any();
  }
  const auto properties = record_->properties();
  const auto found = properties->find(key);
  return found == properties->end() ? Any() : found->second;
}

std::vector<std::string> ServiceReferenceBase::GetPropertyKeys() const {
  std::vector<std::string> keys;
  GetPropertyKeys(keys);
  return keys;
}

void ServiceReferenceBase::GetPropertyKeys(std::vector<std::string>& keys) const {
  keys.clear();
  if (!record_) {
    return;
  }
  const auto properties = record_->properties();
  keys.reserve(properties->size());
  for (const auto& property : *properties) {
    keys.push_back(property.first);
  }
}

Bundle ServiceReferenceBase::GetBundle() const {
  const auto listeners = record_ ? record_->owner.framework.lock() : nullptr;
  return listeners && record_->isRegistered() ? listeners->handles().of(record_->owner.bundle) : Bundle();
}

std::vector<Bundle> ServiceReferenceBase::GetUsingBundles() const {
  std::vector<Bundle> bundles;
  if (const auto listeners = record_ ? record_->owner.framework.lock() : nullptr) {
    for (const auto& user : record_->users()) {
      bundles.push_back(listeners->handles().of(user));
    }
  }
  return bundles;
}

std::string ServiceReferenceBase::GetInterfaceId() const {
  return interfaceId_ ? *interfaceId_ : std::string();
}

bool ServiceReferenceBase::IsConvertibleTo(const std::string& interfaceId) const {
  return record_ && record_->findClass(interfaceId);
}

void ServiceReferenceBase::narrowTo(const std::string& interfaceId) {
  if (interfaceId_ && *interfaceId_ == interfaceId) {
    return;
  }
  interfaceId_ = record_ ? record_->findClass(interfaceId) : nullptr;
  if (!interfaceId_) {
    record_ = nullptr;
  }
}

bool ServiceReferenceBase::operator<(const ServiceReferenceBase& other) const {
  if (!record_ || !other.record_) {
    return !record_ && other.record_;
  }
  return precedes(*other.record_, *record_);
}

bool ServiceReferenceBase::operator==(const ServiceReferenceBase& other) const {
  return record_ == other.record_;
}

std::size_t ServiceReferenceBase::Hash() const {
  return std::hash<std::shared_ptr<ServiceRecord>>()(record_);
}

std::ostream& operator<<(std::ostream& out, const ServiceReferenceBase& reference) {
  if (!reference) {
    return out << "Invalid service reference";
  }
  return out << "Reference for service object registered from " << reference.GetBundle() << " ("
             << reference.GetProperty(Constants::OBJECTCLASS).ToStringNoExcept() << ", "
             << reference.GetProperty(Constants::SERVICE_ID).ToStringNoExcept() << ")";
}

ServiceReferenceU ServiceReferenceFromService(const std::shared_ptr<void>& service) {
  const auto record = ServiceUse::serviceOf(service);
  if (!record) {
    throw std::runtime_error("The pointer is not one that a bundle got from the service registry");
  }
  return detail::HandleAccess::reference(record, nullptr);
}

}  // namespace cppmicroservices
