#include "ConfigurationRegistry.hpp"

#include <exception>
#include <limits>
#include <stdexcept>
#include <utility>

#include "RegisteredConfiguration.hpp"

namespace cppmicroservices::configurationadmin {

using service::cm::ConfigurationAdmin;
using service::cm::ConfigurationEvent;
using service::cm::ConfigurationEventType;
using service::cm::ConfigurationListener;
using service::cm::ManagedService;
using service::cm::ManagedServiceFactory;

namespace {

void requireNotRemoved(const ConfigurationRecord& record) {
  if (record.isRemoved) {
    throw std::runtime_error("This Configuration has been Removed");
  }
}

/// Calls a service and swallows its exceptions.
template <class Call>
void callQuietly(Call call) noexcept {
  try {
    call();
  } catch (...) {
  }
}

/// Delivers a configuration to a service.
/// \param properties  null if the configuration was removed
void notify(ManagedService& service, const Properties& properties) {
  callQuietly([&] { service.Updated(properties ? *properties : AnyMap()); });
}

void notify(ManagedServiceFactory& factory, const std::string& pid, const Properties& properties) {
  callQuietly([&] {
    if (properties) {
      factory.Updated(pid, *properties);
    } else {
      factory.Removed(pid);
    }
  });
}

/// Calls every listener.
/// \return the first exception; null if there was none
std::exception_ptr notify(const SubscriberList<ConfigurationListener>::Services& listeners,
                          const ConfigurationEvent& event) {
  std::exception_ptr first;
  for (const auto& listener : listeners) {
    try {
      listener->configurationEvent(event);
    } catch (...) {
      first = first ? first : std::current_exception();
    }
  }
  return first;
}

ConfigurationEvent eventOf(const ServiceReference<ConfigurationAdmin>& admin, const ConfigurationRecord& record,
                           ConfigurationEventType type) {
  const bool isOfFactory = record.pid.find('~') != std::string::npos;
  return {admin, type, isOfFactory ? record.pid : std::string(), isOfFactory ? std::string() : record.pid};
}

}  // namespace

void ConfigurationRegistry::setAdmin(const ServiceReference<ConfigurationAdmin>& admin) {
  const std::lock_guard<std::mutex> lock(mutex_);
  admin_ = admin;
}

ConfigurationRegistry::ConfigurationPtr ConfigurationRegistry::obtain(const std::string& pid) {
  const std::lock_guard<std::mutex> lock(mutex_);
  return objectOfLocked(table_.obtain(pid));
}

ConfigurationRegistry::ConfigurationPtr ConfigurationRegistry::create(const std::string& factoryPid) {
  const std::lock_guard<std::mutex> lock(mutex_);
  return objectOfLocked(table_.create(factoryPid));
}

std::vector<ConfigurationState> ConfigurationRegistry::listUpdated() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return table_.listUpdated();
}

ConfigurationRegistry::ConfigurationPtr ConfigurationRegistry::objectOf(const RecordPtr& record) {
  const std::lock_guard<std::mutex> lock(mutex_);
  return record->isRemoved ? nullptr : objectOfLocked(record);
}

ConfigurationRegistry::ConfigurationPtr ConfigurationRegistry::objectOfLocked(const RecordPtr& record) {
  auto object = record->object.lock();
  if (!object) {
    object = std::make_shared<RegisteredConfiguration>(shared_from_this(), record);
    record->object = object;
  }
  return object;
}

Properties ConfigurationRegistry::propertiesOf(const RecordPtr& record) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  requireNotRemoved(*record);
  return record->properties;
}

unsigned long ConfigurationRegistry::changeCountOf(const RecordPtr& record) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  requireNotRemoved(*record);
  return record->changeCount;
}

// The old properties are swapped into a variable that outlives the lock: destroying them runs foreign code.
std::shared_ptr<Delivery> ConfigurationRegistry::update(const RecordPtr& record, AnyMap&& properties) {
  Properties exchanged = std::make_shared<const AnyMap>(std::move(properties));
  const std::lock_guard<std::mutex> lock(mutex_);
  requireNotRemoved(*record);
  return replaceLocked(record, exchanged);
}

// Comparing runs foreign code too: it is done without the lock, and repeated if the properties have changed meanwhile.
std::shared_ptr<Delivery> ConfigurationRegistry::updateIfDifferent(const RecordPtr& record, AnyMap&& properties) {
  Properties exchanged = std::make_shared<const AnyMap>(std::move(properties));
  for (;;) {
    const Properties compared = propertiesOf(record);
    if (*compared == *exchanged) {
      return nullptr;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    requireNotRemoved(*record);
    if (record->properties == compared) {
      return replaceLocked(record, exchanged);
    }
  }
}

std::shared_ptr<Delivery> ConfigurationRegistry::replaceLocked(const RecordPtr& record, Properties& properties) {
  record->properties.swap(properties);
  ++record->changeCount;
  return announceLocked(record);
}

std::shared_ptr<Delivery> ConfigurationRegistry::remove(const RecordPtr& record) {
  const std::lock_guard<std::mutex> lock(mutex_);
  requireNotRemoved(*record);
  record->isRemoved = true;
  table_.remove(*record);
  return record->changeCount > 0 ? announceLocked(record) : nullptr;
}

std::shared_ptr<Delivery> ConfigurationRegistry::announceLocked(const RecordPtr& record) {
  const auto revision = ++revision_;
  return queue_.post([self = shared_from_this(), record, revision] { self->deliver(record, revision); });
}

void ConfigurationRegistry::add(long id, const std::string& pid, const std::shared_ptr<ManagedService>& service) {
  const std::lock_guard<std::mutex> lock(mutex_);
  services_.add(id, pid, revision_, service);
  const auto record = table_.find(pid);
  if (record && record->changeCount > 0) {
    queue_.post([service, known = record->properties] { notify(*service, known); });
  }
}

void ConfigurationRegistry::add(long id, const std::string& pid,
                                const std::shared_ptr<ManagedServiceFactory>& factory) {
  const std::lock_guard<std::mutex> lock(mutex_);
  factories_.add(id, pid, revision_, factory);
  for (const auto& [record, properties] : table_.listUpdated()) {
    if (!record->factoryPid.empty() && record->factoryPid == pid) {
      queue_.post([factory, about = record, known = properties] { notify(*factory, about->pid, known); });
    }
  }
}

void ConfigurationRegistry::add(long id, const std::shared_ptr<ConfigurationListener>& listener) {
  const std::lock_guard<std::mutex> lock(mutex_);
  listeners_.add(id, std::string(), 0, listener);
}

// The removed services are released after the lock.
void ConfigurationRegistry::remove(long id) {
  std::shared_ptr<void> service;
  std::shared_ptr<void> factory;
  std::shared_ptr<void> listener;
  const std::lock_guard<std::mutex> lock(mutex_);
  service = services_.remove(id);
  factory = factories_.remove(id);
  listener = listeners_.remove(id);
}

ConfigurationRegistry::Audience ConfigurationRegistry::audienceLocked(const ConfigurationRecord& record,
                                                                      Revision revision) const {
  return {listeners_.findSubscribed(std::string(), revision), services_.findSubscribed(record.pid, revision),
          record.factoryPid.empty() ? decltype(Audience::factories)()
                                    : factories_.findSubscribed(record.factoryPid, revision)};
}

// Delivers the current properties, or the removal if the configuration is removed by now.
void ConfigurationRegistry::deliver(const RecordPtr& record, Revision revision) const {
  Audience audience;
  Properties properties;
  ServiceReference<ConfigurationAdmin> admin;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    audience = audienceLocked(*record, revision);
    properties = record->isRemoved ? nullptr : record->properties;
    admin = admin_;
  }
  const auto type = properties ? ConfigurationEventType::CM_UPDATED : ConfigurationEventType::CM_DELETED;
  const auto failure = notify(audience.listeners, eventOf(admin, *record, type));
  for (const auto& service : audience.services) {
    notify(*service, properties);
  }
  for (const auto& factory : audience.factories) {
    notify(*factory, record->pid, properties);
  }
  if (failure) {
    std::rethrow_exception(failure);
  }
}

void ConfigurationRegistry::withdraw(const ConfigurationRecord& record) const {
  Audience audience;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    audience = audienceLocked(record, std::numeric_limits<Revision>::max());
  }
  for (const auto& service : audience.services) {
    notify(*service, nullptr);
  }
  for (const auto& factory : audience.factories) {
    notify(*factory, record.pid, nullptr);
  }
}

void ConfigurationRegistry::finish() {
  queue_.finish();
}

void ConfigurationRegistry::withdrawAll() {
  queue_.settle();
  for (const auto& state : listUpdated()) {
    withdraw(*state.record);
  }
}

}  // namespace cppmicroservices::configurationadmin
