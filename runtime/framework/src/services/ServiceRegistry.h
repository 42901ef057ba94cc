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

/// One framework's services, indexed by interface, each interface's kept in the order in which they are
/// found. Service listeners and factories are called without a lock. Any thread may use it.
class ServiceRegistry {
 public:
  using Record = std::shared_ptr<ServiceRecord>;
  using Records = std::vector<Record>;

  explicit ServiceRegistry(ServiceListeners& listeners);
  ~ServiceRegistry();

  /// See BundleContext::RegisterService.
  /// \return the new service for a registration, see ServiceRecord::forRegistration
  static Record add(const std::shared_ptr<ServiceRegistry>& registry, const BundleContextPrivate& context,
                    const ServiceClient& owner, const InterfaceMapConstPtr& service,
                    const ServiceProperties& properties);
  /// See ServiceRegistrationBase::SetProperties.
  void setProperties(const Record& record, const ServiceProperties& properties);
  /// See ServiceRegistrationBase::Unregister.
  void unregister(const Record& record);

  /// See BundleContext::GetServiceReferences.
  std::vector<ServiceReferenceU> find(const std::string& clazz, const std::string& filter) const;
  /// See BundleContext::GetServiceReference.
  ServiceReferenceU best(const std::string& clazz) const;

  std::vector<ServiceReferenceU> registeredBy(const BundlePrivate& bundle) const;
  std::vector<ServiceReferenceU> usedBy(const BundlePrivate& bundle) const;
  void unregisterAllOf(const BundlePrivate& bundle);
  void releaseAllOf(const BundlePrivate& bundle);

  /// Ends the services that nobody has a registration of, without telling anybody.
  void endAbandoned();
  /// Takes all services out without telling anybody.
  /// \return them, to be ended when no lock is held
  Records reset();

 private:
  Records all() const;
  Records candidates(const std::string& clazz) const;
  void addToIndex(const Record& record);
  void removeFromIndex(const Record& record);

  ServiceListeners& listeners_;

  mutable std::mutex mutex_;
  // guarded by mutex_
  std::unordered_map<std::string, std::vector<Record>> byClass_;
  std::map<long, Record> byId_;
};

}  // namespace cppmicroservices
