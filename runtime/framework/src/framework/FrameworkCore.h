#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <unordered_map>

#include "bundles/BundleLifecycle.h"
#include "bundles/BundleRegistry.h"
#include "core/EventListeners.h"
#include "core/FrameworkProperties.h"
#include "cppmicroservices/Bundle.h"
#include "framework/FrameworkLifecycle.h"
#include "services/ServiceRegistry.h"

namespace cppmicroservices {

/// All that makes up one framework. The parts refer to each other through it.
///
/// It is owned by the lease that the handles share, and by whoever just works with it; everything that
/// lives longer than a call (bundles, contexts, services) refers to it weakly.
class FrameworkCore : public std::enable_shared_from_this<FrameworkCore> {
 public:
  /// \return a new framework's only handle
  static Bundle create(const std::unordered_map<std::string, Any>& configuration, std::ostream* logger);

  FrameworkCore(const std::unordered_map<std::string, Any>& configuration, std::ostream& logger);

  /// \return a handle that keeps the framework going; an invalid one for null
  Bundle handleOf(const std::shared_ptr<BundlePrivate>& bundle) const;
  const std::shared_ptr<BundlePrivate>& systemBundle() const { return systemBundle_; }

  /// Writes an event or a message to the framework's log, if it has one.
  template <class Entry>
  void log(const Entry& entry) {
    if (properties.logEnabled()) {
      const std::lock_guard<std::mutex> lock(logMutex_);
      logger_ << "framework " << id << ": " << entry << std::endl;
    }
  }

  // constant after construction
  const std::uint64_t id;  ///< counted up in the process, so that frameworks have an order
  const FrameworkProperties properties;

  // synchronised by themselves
  EventListeners listeners;
  ServiceRegistry services;
  BundleRegistry bundles;
  BundleLifecycle bundleLifecycle;
  FrameworkLifecycle lifecycle;

 private:
  // constant after construction, which create() completes
  std::shared_ptr<BundlePrivate> systemBundle_;
  std::weak_ptr<FrameworkLease> lease_;

  std::mutex logMutex_;
  std::ostream& logger_;  // guarded by logMutex_
};

}  // namespace cppmicroservices
