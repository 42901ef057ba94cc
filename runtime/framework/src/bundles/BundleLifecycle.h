#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "bundles/BundleLibrary.h"
#include "bundles/BundleOperations.h"
#include "cppmicroservices/Bundle.h"
#include "cppmicroservices/FrameworkEvent.h"

namespace cppmicroservices {

class BundlePrivate;
class BundleRegistry;
class FrameworkProperties;
class ServiceRegistry;
struct EventListeners;

/// Starts, stops and uninstalls one framework's bundles except the system bundle, see Bundle. Any thread may use it.
/// The bundles' code runs on the calling thread with no lock held.
class BundleLifecycle {
 public:
  BundleLifecycle(const FrameworkProperties& properties, BundleRegistry& registry, ServiceRegistry& services,
                  EventListeners& listeners);

  void start(const std::shared_ptr<BundlePrivate>& bundle);
  void stop(const std::shared_ptr<BundlePrivate>& bundle);
  void uninstall(const std::shared_ptr<BundlePrivate>& bundle);

  /// Stops a bundle together with its framework, so that it cannot be started again.
  void stopForGood(const std::shared_ptr<BundlePrivate>& bundle);

 private:
  using BundlePointer = std::shared_ptr<BundlePrivate>;

  /// A bundle's code while the bundle is active.
  struct RunningCode {
    BundleLibrary library;
    BundleLibrary::Activator activator;
  };

  void requireStartable(const BundlePrivate& bundle) const;
  void requireInstalled(const BundlePrivate& bundle) const;
  bool hasActivator(const BundlePointer& bundle);
  void validate(const BundlePointer& bundle);
  void runActivator(const BundlePointer& bundle);
  void announceStarted(const BundlePointer& bundle);
  void undoStart(const BundlePointer& bundle);
  void stopActive(const BundlePointer& bundle);
  void stopActivator(const BundlePointer& bundle);
  void withdraw(const BundlePointer& bundle);
  void removeData(const BundlePointer& bundle);
  std::shared_ptr<RunningCode> codeOf(const BundlePrivate& bundle) const;
  void forgetCode(const BundlePrivate& bundle);
  void report(FrameworkEvent::Type type, const BundlePointer& bundle, const std::string& message);
  Bundle handleOf(const BundlePointer& bundle) const;

  const FrameworkProperties& properties_;

  // Synchronised by themselves:
  BundleRegistry& registry_;
  ServiceRegistry& services_;
  EventListeners& listeners_;
  BundleOperations operations_;

  mutable std::mutex mutex_;
  // Guarded by `mutex_`:
  std::map<const BundlePrivate*, std::shared_ptr<RunningCode>> running_;
};

}  // namespace cppmicroservices
