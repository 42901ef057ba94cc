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

/// One service from its registration on; what references and registrations share. It outlives the service if
/// one of them does, but lets go of the implementation when the service is unregistered. Any thread may use it.
class ServiceRecord : public std::enable_shared_from_this<ServiceRecord> {
 public:
  using Properties = std::shared_ptr<const AnyMap>;

  ServiceRecord(std::weak_ptr<ServiceRegistry> home, ServiceClient registrant, ServiceIdentity serviceIdentity,
                InterfaceMapConstPtr service, Properties properties);

  /// Gets the bundle's use of the service, or begins it.
  /// \return null if the service is unregistered or its factory fails
  static std::shared_ptr<ServiceUse> use(const std::shared_ptr<ServiceRecord>& record, const ServiceClient& user);
  /// Begins a use of its own if the service's factory makes an object per request; otherwise as above.
  static std::shared_ptr<ServiceUse> separateUse(const std::shared_ptr<ServiceRecord>& record,
                                                 const ServiceClient& user);
  void forgetEndedUses();
  /// Ends what one bundle uses.
  void closeUsesOf(const BundlePrivate& user);

  bool isRegistered() const;
  /// \throws std::logic_error if the service is unregistered
  void requireRegistered() const;
  Properties properties() const;
  /// \return the bundles that use the service at the moment
  std::vector<std::shared_ptr<BundlePrivate>> users() const;
  /// \return this record, for a registration to keep: as long as one does, the service is not abandoned
  std::shared_ptr<ServiceRecord> forRegistration();
  /// \return whether nobody has a registration of the service any more
  bool isAbandoned() const;
  /// \return the record's own text of that interface ID; null if the service does not have it
  const std::string* findClass(const std::string& interfaceId) const;

  /// \return the properties before
  /// \throws std::logic_error if the service is unregistered
  Properties replaceProperties(Properties properties);
  /// \return false if it has begun already
  /// \throws std::logic_error if the service is unregistered
  bool beginUnregistering();
  /// Makes the service unregistered: ends all its uses and lets go of the implementation.
  void end();

  // constant after construction
  const std::weak_ptr<ServiceRegistry> registry;  // keeps all of the framework alive while it is locked
  const ServiceClient owner;
  const ServiceIdentity identity;
  const std::vector<std::string>& classes;
  const long listedId;  // the property, which is not the identity's if whoever registered the service gave one

  // synchronised by itself; changed under the registry's lock
  std::atomic<int> ranking;

 private:
  enum class Phase { registered, unregistering, unregistered };

  struct UseEntry {
    std::shared_ptr<BundlePrivate> user;
    std::weak_ptr<ServiceUse> use;
    bool shared;  // by all requests of the bundle
  };

  std::shared_ptr<ServiceFactory> factory() const;
  std::shared_ptr<ServiceUse> beginUse(const ServiceClient& user, bool shared);
  std::shared_ptr<ServiceUse> sharedUse(const BundlePrivate& user) const;

  mutable std::mutex mutex_;
  // guarded by mutex_
  Phase phase_ = Phase::registered;
  InterfaceMapConstPtr service_;
  Properties properties_;
  std::vector<UseEntry> uses_;
  std::weak_ptr<ServiceRecord> forRegistrations_;  // has a count of owners of its own
};

/// Orders services as they are found: higher ranking first, then lower listed ID, then age.
bool comesBefore(const ServiceRecord& left, const ServiceRecord& right);

}  // namespace cppmicroservices
