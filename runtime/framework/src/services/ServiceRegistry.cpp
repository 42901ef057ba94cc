#include "services/ServiceRegistry.h"

#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <utility>

#include "core/BundleContextPrivate.h"
#include "core/HandleAccess.h"
#include "cppmicroservices/Constants.h"
#include "cppmicroservices/LDAPFilter.h"
#include "cppmicroservices/PrototypeServiceFactory.h"
#include "filter/FilterParser.hpp"

namespace cppmicroservices {

namespace {

long nextServiceId() {
  static std::atomic<long> last{0};  // shared by all frameworks of the process
  return ++last;
}

bool isEarlier(const ServiceRegistry::Record& left, const ServiceRegistry::Record& right) {
  return precedes(*left, *right);
}

std::string withoutGlobalScope(const std::string& name) {
  return name.compare(0, 2, "::") == 0 ? name.substr(2) : name;
}

std::string scopeOf(const InterfaceMap& service) {
  const auto found = service.find(detail::factoryInterfaceId());
  if (found == service.end()) {
    return Constants::SCOPE_SINGLETON;
  }
  const auto factory = std::static_pointer_cast<ServiceFactory>(found->second);
  return std::dynamic_pointer_cast<PrototypeServiceFactory>(factory) ? Constants::SCOPE_PROTOTYPE
                                                                     : Constants::SCOPE_BUNDLE;
}

void keepMatching(ServiceRegistry::Records& records, const LDAPFilter& filter) {
  const auto differs = [&](const ServiceRegistry::Record& record) { return !filter.Match(*record->properties()); };
  records.erase(std::remove_if(records.begin(), records.end(), differs), records.end());
}

void requireImplementations(const InterfaceMapConstPtr& service) {
  if (!service || service->empty()) {
    throw std::invalid_argument("Can't register empty InterfaceMap as a service");
  }
  const auto factory = service->find(detail::factoryInterfaceId());
  for (const auto& [name, implementation] : *service) {
    if (!implementation && (factory == service->end() || name == factory->first)) {
      throw std::invalid_argument("Can't register as null class: " + name);
    }
  }
}

ServiceIdentity identityFor(const InterfaceMap& service) {
  ServiceIdentity identity{nextServiceId(), scopeOf(service), {}};
  for (const auto& [name, implementation] : service) {
    identity.classes.push_back(name);
  }
  std::sort(identity.classes.begin(), identity.classes.end());
  return identity;
}

}  // namespace

ServiceRegistry::ServiceRegistry(ServiceListeners& listeners) : listeners_(listeners) {}

ServiceRegistry::~ServiceRegistry() {
  for (const auto& record : reset()) {
    record->end();
  }
}

ServiceRegistry::Record ServiceRegistry::add(const std::shared_ptr<ServiceRegistry>& registry,
                                             const BundleContextPrivate& context, const ServiceClient& owner,
                                             const InterfaceMapConstPtr& service, const ServiceProperties& given) {
  requireImplementations(service);
  auto identity = identityFor(*service);
  const auto properties = propertiesForRegistration(given, identity);
  const auto record = std::make_shared<ServiceRecord>(registry, owner, std::move(identity), service, properties);
  auto registration = record->forRegistration();
  {
    const std::lock_guard<std::mutex> lock(registry->mutex_);
    if (!context.isValid()) {
      BundleContextPrivate::throwInvalid();
    }
    registry->addToIndex(record);
  }
  try {
    registry->listeners_.notify(ServiceEvent::SERVICE_REGISTERED, record, *properties, *properties);
  } catch (...) {
    // For want of memory. The caller gets no registration, so nobody else could take the service back.
    registry->takeBack(record);
    throw;
  }
  return registration;
}

void ServiceRegistry::takeBack(const Record& record) noexcept {
  try {
    unregister(record);
  } catch (...) {
    // The service has gone, though not every listener has been told.
  }
}

void ServiceRegistry::addToIndex(const Record& record) {
  try {
    byId_.emplace(record->identity.id, record);
    for (const auto& name : record->classes) {
      auto& services = byClass_[name];
      services.insert(std::upper_bound(services.begin(), services.end(), record, isEarlier), record);
    }
  } catch (...) {
    removeFromIndex(record);
    throw;
  }
}

void ServiceRegistry::removeFromIndex(const Record& record) {
  byId_.erase(record->identity.id);
  for (const auto& name : record->classes) {
    const auto services = byClass_.find(name);
    if (services == byClass_.end()) {
      continue;
    }
    auto& sorted = services->second;
    const auto at = std::lower_bound(sorted.begin(), sorted.end(), record, isEarlier);
    if (at != sorted.end() && *at == record) {
      sorted.erase(at);
    }
    if (sorted.empty()) {
      byClass_.erase(services);
    }
  }
}

void ServiceRegistry::setProperties(const Record& record, const ServiceProperties& given) {
  const auto after = propertiesForChange(given, *record->properties());
  ServiceRecord::Properties before;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    before = record->replaceProperties(after);
    const auto ranking = rankingIn(*after);
    if (ranking != record->ranking) {
      const bool indexed = byId_.count(record->identity.id) != 0;
      removeFromIndex(record);
      record->ranking = ranking;
      if (indexed) {
        addToIndex(record);
      }
    }
  }
  listeners_.notify(ServiceEvent::SERVICE_MODIFIED, record, *before, *after);
}

void ServiceRegistry::unregister(const Record& record) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!record->beginUnregistering()) {
      return;
    }
    removeFromIndex(record);
  }
  // Also when telling the listeners fails for want of memory: the service is in no list any more.
  struct End {
    const Record& record;
    ~End() { record->end(); }
  } const end{record};
  const auto properties = record->properties();
  listeners_.notify(ServiceEvent::SERVICE_UNREGISTERING, record, *properties, *properties);
}

ServiceRegistry::Records ServiceRegistry::all() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  Records records;
  records.reserve(byId_.size());
  for (const auto& entry : byId_) {
    records.push_back(entry.second);
  }
  return records;
}

ServiceRegistry::Records ServiceRegistry::candidates(const std::string& clazz) const {
  if (clazz.empty()) {
    return all();
  }
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = byClass_.find(clazz);
  return found == byClass_.end() ? Records() : found->second;
}

std::vector<ServiceReferenceU> ServiceRegistry::find(const std::string& clazz, const std::string& filter) const {
  const auto name = withoutGlobalScope(clazz);
  auto records = candidates(name);
  if (records.empty() && !name.empty()) {
    return {};
  }
  if (!filter.empty()) {
    keepMatching(records, LDAPFilter(filter));
    if (name.empty() && parseFilter(filter).fixes(Constants::OBJECTCLASS)) {
      const std::lock_guard<std::mutex> lock(mutex_);  // the rankings must not change during the sort
      std::sort(records.begin(), records.end(), isEarlier);
    }
  }
  std::vector<ServiceReferenceU> found;
  found.reserve(records.size());
  for (const auto& record : records) {
    found.emplace_back(detail::HandleAccess::reference(record, record->findClass(name)));
  }
  return found;
}

ServiceReferenceU ServiceRegistry::findBest(const std::string& clazz) const {
  const auto name = withoutGlobalScope(clazz);
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = byClass_.find(name);
  if (found == byClass_.end()) {
    return ServiceReferenceU();
  }
  const auto& record = found->second.front();
  return detail::HandleAccess::reference(record, record->findClass(name));
}

std::vector<ServiceReferenceU> ServiceRegistry::findRegisteredBy(const BundlePrivate& bundle) const {
  std::vector<ServiceReferenceU> registered;
  for (const auto& record : all()) {
    if (record->owner.bundle.get() == &bundle) {
      registered.emplace_back(detail::HandleAccess::reference(record, nullptr));
    }
  }
  return registered;
}

std::vector<ServiceReferenceU> ServiceRegistry::findUsedBy(const BundlePrivate& bundle) const {
  std::vector<ServiceReferenceU> used;
  for (const auto& record : all()) {
    const auto users = record->users();
    if (std::any_of(users.begin(), users.end(), [&](const auto& user) { return user.get() == &bundle; })) {
      used.emplace_back(detail::HandleAccess::reference(record, nullptr));
    }
  }
  return used;
}

void ServiceRegistry::unregisterAllOf(const BundlePrivate& bundle) {
  for (const auto& record : all()) {
    if (record->owner.bundle.get() != &bundle) {
      continue;
    }
    try {
      unregister(record);
    } catch (const std::logic_error&) {
      // Another thread has unregistered it meanwhile.
    }
  }
}

void ServiceRegistry::releaseAllOf(const BundlePrivate& bundle) {
  for (const auto& record : all()) {
    record->closeUsesOf(bundle);
  }
}

void ServiceRegistry::endAbandoned() {
  for (const auto& record : all()) {
    if (record->isAbandoned()) {
      {
        const std::lock_guard<std::mutex> lock(mutex_);
        removeFromIndex(record);
      }
      record->end();
    }
  }
}

ServiceRegistry::Records ServiceRegistry::reset() {
  auto records = all();
  const std::lock_guard<std::mutex> lock(mutex_);
  byClass_.clear();
  byId_.clear();
  return records;
}

}  // namespace cppmicroservices
