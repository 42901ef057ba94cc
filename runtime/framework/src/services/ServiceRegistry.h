#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "cppmicroservices/ServiceProperties.h"
#include "cppmicroservices/ServiceReference.h"
#include "services/ServiceListeners.h"
#include "services/ServiceRecord.h"

namespace cppmicroservices {

class BundleContextPrivate;
class BundlePrivate;

/// One framework's services, indexed by interface, and sorted there as look-ups return them. Service listeners and
/// factories are called without a lock. Any thread may use it.
class ServiceRegistry {
 public:
  using Record = std::shared_ptr<ServiceRecord>;
  using Records = std::vector<Record>;

  explicit ServiceRegistry(ServiceListeners& listeners);
  ~ServiceRegistry();

  /// Registers a service, see BundleContext::RegisterService.
  /// \return the new record for a registration, see ServiceRecord::forRegistration
  static Record add(const std::shared_ptr<ServiceRegistry>& registry, const BundleContextPrivate& context,
                    const ServiceClient& owner, const InterfaceMapConstPtr& service,
                    const ServiceProperties& properties);
  /// Replaces a service's properties, see ServiceRegistrationBase::SetProperties.
  void setProperties(const Record& record, const ServiceProperties& properties);
  /// Unregisters a service, see ServiceRegistrationBase::Unregister.
  void unregister(const Record& record);

  /// Finds services, see BundleContext::GetServiceReferences.
  std::vector<ServiceReferenceU> find(const std::string& clazz, const std::string& filter) const;
  /// Finds the first of an interface's services, see BundleContext::GetServiceReference.
  ServiceReferenceU findBest(const std::string& clazz) const;

  std::vector<ServiceReferenceU> findRegisteredBy(const BundlePrivate& bundle) const;
  std::vector<ServiceReferenceU> findUsedBy(const BundlePrivate& bundle) const;
  void unregisterAllOf(const BundlePrivate& bundle);
  void releaseAllOf(const BundlePrivate& bundle);

  /// Ends the services whose registrations have all been destroyed, without an event.
  void endAbandoned();
  /// Removes all services without an event.
  /// \return the services, which the caller has to end without a lock
  Records reset();

 private:
  Records all() const;
  Records candidates(const std::string& clazz) const;
  void addToIndex(const Record& record);
  void removeFromIndex(const Record& record);
  void takeBack(const Record& record) noexcept;

  ServiceListeners& listeners_;

  mutable std::mutex mutex_;
  // Guarded by `mutex_`:
  std::unordered_map<std::string, std::vector<Record>> byClass_;
  std::map<long, Record> byId_;
};

}  // namespace cppmicroservices
