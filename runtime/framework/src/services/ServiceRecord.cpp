#include "services/ServiceRecord.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "cppmicroservices/Constants.h"
#include "cppmicroservices/ServiceFactory.h"

namespace cppmicroservices {

ServiceRecord::ServiceRecord(std::weak_ptr<ServiceRegistry> home, ServiceClient registrant,
                             ServiceIdentity serviceIdentity, InterfaceMapConstPtr service, Properties properties)
    : registry(std::move(home)),
      owner(std::move(registrant)),
      identity(std::move(serviceIdentity)),
      classes(identity.classes),
      listedId(idIn(*properties)),
      ranking(rankingIn(*properties)),
      service_(std::move(service)),
      properties_(std::move(properties)) {}

std::shared_ptr<ServiceFactory> ServiceRecord::factory() const {
  return std::static_pointer_cast<ServiceFactory>(ExtractInterface(service_, detail::factoryInterfaceId()));
}

std::shared_ptr<ServiceUse> ServiceRecord::sharedUse(const BundlePrivate& user) const {
  for (const auto& entry : uses_) {
    if (entry.shared && entry.user.get() == &user) {
      if (auto use = entry.use.lock()) {
        return use;
      }
    }
  }
  return nullptr;
}

std::shared_ptr<ServiceUse> ServiceRecord::beginUse(const ServiceClient& user, bool shared) {
  uses_.reserve(uses_.size() + 1);  // nothing may throw once there is a use, whose destructor takes the lock
  auto maker = factory();
  auto use = maker ? std::make_shared<ServiceUse>(shared_from_this(), user, std::move(maker))
                   : std::make_shared<ServiceUse>(shared_from_this(), user, service_);
  uses_.push_back({user.bundle, use, shared});
  return use;
}

std::shared_ptr<ServiceUse> ServiceRecord::use(const std::shared_ptr<ServiceRecord>& record,
                                               const ServiceClient& user) {
  std::shared_ptr<ServiceUse> use;
  bool made = false;
  bool fromFactory = false;
  {
    const std::lock_guard<std::mutex> lock(record->mutex_);
    if (record->phase_ == Phase::unregistered) {
      return nullptr;
    }
    fromFactory = record->identity.scope != Constants::SCOPE_SINGLETON;
    use = record->sharedUse(*user.bundle);
    made = use != nullptr;
    if (!made) {
      use = record->beginUse(user, true);
    }
  }
  // No lock is held here: the factory is foreign code, and other threads may wait for it.
  const bool ready = !fromFactory || (made ? use->awaitObject() : use->make());
  return ready ? use : nullptr;
}

std::shared_ptr<ServiceUse> ServiceRecord::separateUse(const std::shared_ptr<ServiceRecord>& record,
                                                       const ServiceClient& user) {
  if (record->identity.scope != Constants::SCOPE_PROTOTYPE) {
    return use(record, user);
  }
  std::shared_ptr<ServiceUse> use;
  {
    const std::lock_guard<std::mutex> lock(record->mutex_);
    if (record->phase_ == Phase::unregistered) {
      return nullptr;
    }
    use = record->beginUse(user, false);
  }
  return use->make() ? use : nullptr;
}

void ServiceRecord::forgetEndedUses() {
  const std::lock_guard<std::mutex> lock(mutex_);
  uses_.erase(std::remove_if(uses_.begin(), uses_.end(), [](const UseEntry& entry) { return entry.use.expired(); }),
              uses_.end());
}

void ServiceRecord::closeUsesOf(const BundlePrivate& user) {
  std::vector<std::shared_ptr<ServiceUse>> closing;  // destroyed without the lock, which a last pointer takes
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    closing.reserve(uses_.size());
    const auto others = std::stable_partition(uses_.begin(), uses_.end(),
                                              [&](const UseEntry& entry) { return entry.user.get() != &user; });
    for (auto entry = others; entry != uses_.end(); ++entry) {
      closing.push_back(entry->use.lock());
    }
    uses_.erase(others, uses_.end());
  }
  for (const auto& use : closing) {
    if (use) {
      use->close();
    }
  }
}

bool ServiceRecord::isRegistered() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return phase_ != Phase::unregistered;
}

void ServiceRecord::requireRegistered() const {
  if (!isRegistered()) {
    throw std::logic_error("Service is unregistered");
  }
}

ServiceRecord::Properties ServiceRecord::properties() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return properties_;
}

std::vector<std::shared_ptr<BundlePrivate>> ServiceRecord::users() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  std::vector<std::shared_ptr<BundlePrivate>> users;
  for (const auto& entry : uses_) {
    if (!entry.use.expired() && std::find(users.begin(), users.end(), entry.user) == users.end()) {
      users.push_back(entry.user);
    }
  }
  return users;
}

std::shared_ptr<ServiceRecord> ServiceRecord::forRegistration() {
  const std::lock_guard<std::mutex> lock(mutex_);
  auto record = forRegistrations_.lock();
  if (!record) {
    const auto own = std::make_shared<std::shared_ptr<ServiceRecord>>(shared_from_this());
    record = std::shared_ptr<ServiceRecord>(own, this);
    forRegistrations_ = record;
  }
  return record;
}

bool ServiceRecord::isAbandoned() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return forRegistrations_.expired();
}

const std::string* ServiceRecord::findClass(const std::string& interfaceId) const {
  const auto found = std::find(classes.begin(), classes.end(), interfaceId);
  return found == classes.end() ? nullptr : &*found;
}

ServiceRecord::Properties ServiceRecord::replaceProperties(Properties properties) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (phase_ == Phase::unregistered) {
    throw std::logic_error("Service is unregistered");
  }
  return std::exchange(properties_, std::move(properties));
}

bool ServiceRecord::beginUnregistering() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (phase_ == Phase::unregistered) {
    throw std::logic_error("Service is unregistered");
  }
  return std::exchange(phase_, Phase::unregistering) == Phase::registered;
}

void ServiceRecord::end() {
  InterfaceMapConstPtr service;
  std::vector<UseEntry> uses;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    phase_ = Phase::unregistered;
    service.swap(service_);
    uses.swap(uses_);
  }
  for (const auto& entry : uses) {
    if (const auto use = entry.use.lock()) {
      use->close();
    }
  }
}

bool precedes(const ServiceRecord& left, const ServiceRecord& right) {
  const int leftRanking = left.ranking;
  const int rightRanking = right.ranking;
  if (leftRanking != rightRanking) {
    return leftRanking > rightRanking;
  }
  return left.listedId != right.listedId ? left.listedId < right.listedId : left.identity.id < right.identity.id;
}

}  // namespace cppmicroservices
