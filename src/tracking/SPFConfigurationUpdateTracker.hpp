#pragma once

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/ServiceRegistration.h>

#include "agent/spf/frameworklistener/FrameworkListener.hpp"
#include "tracking/OutstandingEndpoints.hpp"

namespace agent::spf::frameworksetup {

class FrameworkSetupListener;

/// Follows the framework's answers to one publication: owns its listener and the listener's
/// registration, which ends when every publisher is complete, or with this object.
///
/// The framework's threads reach this object only through the callback's weak reference, so they
/// never keep it alive for longer than one call. Registering and unregistering run foreign service
/// listeners while `registrationMutex` is held; no other lock of ours may be held then.
class SPFConfigurationUpdateTracker : public std::enable_shared_from_this<SPFConfigurationUpdateTracker> {
 public:
  /// Makes the tracker and registers its listener.
  /// \param properties  the configuration's complete properties
  /// \throws what reading the properties or registering throws; std::runtime_error without a framework
  static std::shared_ptr<SPFConfigurationUpdateTracker> create(const cppmicroservices::AnyMap& properties);

  SPFConfigurationUpdateTracker(const SPFConfigurationUpdateTracker&) = delete;
  SPFConfigurationUpdateTracker& operator=(const SPFConfigurationUpdateTracker&) = delete;

  /// Unregisters the listener; failures are dropped.
  ~SPFConfigurationUpdateTracker();

  /// Unregisters the listener if it is registered.
  void unregisterListener();

  /// Makes sure that the listener is registered and that completions leave it so from now on.
  void prepareForRemoval();

  /// As the listener does them; see there.
  bool waitForAllEndpoints(const std::chrono::milliseconds& timeout, const std::string& servicePublisherID);
  bool waitForAllServices(const std::chrono::milliseconds& timeout, const std::string& servicePublisherID);
  OutstandingEndpoints listOutstandingEndpoints(const std::string& servicePublisherID);

  /// The same, and unregisters the listener unless the wait throws.
  bool waitForAllServicesToBeUnpublished(const std::chrono::milliseconds& timeout,
                                         const std::string& servicePublisherID);

 private:
  struct Constructible;

  SPFConfigurationUpdateTracker() = default;
  void enable(const cppmicroservices::AnyMap& properties);
  void unregisterAfterCompletion();
  void unregister(const std::lock_guard<std::mutex>& lockedRegistration);

  // Constant once `enable` is done; guards itself.
  std::shared_ptr<FrameworkSetupListener> listener;

  std::mutex registrationMutex;

  // Guarded by `registrationMutex`.
  bool removalPrepared = false;
  cppmicroservices::ServiceRegistration<frameworklistener::FrameworkListener> listenerRegistration;
};

}  // namespace agent::spf::frameworksetup
