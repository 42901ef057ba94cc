#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "bundles/BundleLibrary.h"
#include "bundles/BundleOperations.h"

namespace cppmicroservices {

class BundleContextPrivate;
class BundlePrivate;
class FrameworkCore;

/// Starts, stops and uninstalls one framework's bundles, all but the system bundle: see Bundle. Any thread
/// may use it; the bundles' code runs on the calling thread with no lock held.
class BundleLifecycle {
 public:
  explicit BundleLifecycle(FrameworkCore& framework);

  void start(const std::shared_ptr<BundlePrivate>& bundle);
  void stop(const std::shared_ptr<BundlePrivate>& bundle);
  void uninstall(const std::shared_ptr<BundlePrivate>& bundle);

  /// Stops a bundle together with its framework, so that it cannot be started any more.
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
  bool wantsActivator(const BundlePointer& bundle);
  void validate(const BundlePointer& bundle);
  void runActivator(const BundlePointer& bundle);
  void tellStarted(const BundlePointer& bundle);
  void startFailed(const BundlePointer& bundle);
  void stopActive(const BundlePointer& bundle);
  void stopActivator(const BundlePointer& bundle);
  void withdraw(const BundlePointer& bundle);
  void removeData(const BundlePointer& bundle);
  std::shared_ptr<RunningCode> codeOf(const BundlePrivate& bundle) const;
  void forgetCode(const BundlePrivate& bundle);

  FrameworkCore& framework_;
  BundleOperations operations_;  // synchronised by itself

  mutable std::mutex mutex_;
  std::map<const BundlePrivate*, std::shared_ptr<RunningCode>> running_;  // guarded by mutex_
};

}  // namespace cppmicroservices
