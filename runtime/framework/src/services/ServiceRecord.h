#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/ServiceInterface.h"
#include "services/ServiceClient.h"
#include "services/ServicePropertyRules.h"
#include "services/ServiceUse.h"

namespace cppmicroservices {

class ServiceRegistry;

/// One registered service: the state that references and registrations share. It lives as long as one of them, but
/// releases the implementation when the service is unregistered. Any thread may use it.
class ServiceRecord : public std::enable_shared_from_this<ServiceRecord> {
 public:
  using Properties = std::shared_ptr<const AnyMap>;

  ServiceRecord(std::weak_ptr<ServiceRegistry> home, ServiceClient registrant, ServiceIdentity serviceIdentity,
                InterfaceMapConstPtr service, Properties properties);

  /// Returns the bundle's use of the service; begins one if there is none.
  /// \return null if the service is unregistered or its factory fails
  static std::shared_ptr<ServiceUse> use(const std::shared_ptr<ServiceRecord>& record, const ServiceClient& user);
  /// Begins a separate use if the service's factory makes an object per request; otherwise as above.
  static std::shared_ptr<ServiceUse> separateUse(const std::shared_ptr<ServiceRecord>& record,
                                                 const ServiceClient& user);
  /// Removes the uses that have ended.
  void forgetEndedUses();
  /// Closes the uses of one bundle.
  void closeUsesOf(const BundlePrivate& user);

  bool isRegistered() const;
  /// Requires that the service is registered.
  /// \throws std::logic_error if the service is unregistered
  void requireRegistered() const;
  Properties properties() const;
  /// Returns the bundles that currently use the service.
  std::vector<std::shared_ptr<BundlePrivate>> users() const;
  /// Returns a pointer to this record for a registration. While there is one, the service is not abandoned.
  std::shared_ptr<ServiceRecord> forRegistration();
  /// Returns whether the last registration of the service has been destroyed.
  bool isAbandoned() const;
  /// Returns the record's own copy of an interface ID; null if the service does not have that interface.
  const std::string* findClass(const std::string& interfaceId) const;

  /// Replaces the properties.
  /// \return the previous properties
  /// \throws std::logic_error if the service is unregistered
  Properties replaceProperties(Properties properties);
  /// Begins to unregister the service.
  /// \return false if that has begun before
  /// \throws std::logic_error if the service is unregistered
  bool beginUnregistering();
  /// Makes the service unregistered: closes all its uses and releases the implementation.
  void end();

  // Constant after construction:
  const std::weak_ptr<ServiceRegistry> registry;  // keeps the whole framework alive while it is locked
  const ServiceClient owner;
  const ServiceIdentity identity;
  const std::vector<std::string>& classes;
  const long listedId;  // the property service.id, which is not the identity's if the registering code gave one

  // Synchronised by itself; changed under the registry's lock:
  std::atomic<int> ranking;

 private:
  enum class Phase { registered, unregistering, unregistered };

  struct UseEntry {
    std::shared_ptr<BundlePrivate> user;
    std::weak_ptr<ServiceUse> use;
    bool shared;  // among all requests of the bundle
  };

  std::shared_ptr<ServiceFactory> factory() const;
  std::shared_ptr<ServiceUse> beginUse(const ServiceClient& user, bool shared);
  std::shared_ptr<ServiceUse> sharedUse(const BundlePrivate& user) const;

  mutable std::mutex mutex_;
  // Guarded by `mutex_`:
  Phase phase_ = Phase::registered;
  InterfaceMapConstPtr service_;
  Properties properties_;
  std::vector<UseEntry> uses_;
  std::weak_ptr<ServiceRecord> forRegistrations_;  // counts only the registrations as owners
};

/// Orders services as look-ups return them: by descending ranking, then by ascending listed ID, then by age.
bool precedes(const ServiceRecord& left, const ServiceRecord& right);

}  // namespace cppmicroservices
