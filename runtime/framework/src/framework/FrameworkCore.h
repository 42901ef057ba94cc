#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <unordered_map>

#include "bundles/BundleInstaller.h"
#include "bundles/BundleLifecycle.h"
#include "bundles/BundleRegistry.h"
#include "bundles/EventListeners.h"
#include "core/BundleHandles.h"
#include "core/FrameworkLog.h"
#include "core/FrameworkProperties.h"
#include "cppmicroservices/Bundle.h"
#include "framework/FrameworkLifecycle.h"
#include "services/ServiceRegistry.h"

namespace cppmicroservices {

/// All that makes up one framework. The parts below it do not know it: each gets its collaborators at construction.
///
/// It is owned by the lease that the handles share, and by every call that works with it; everything that lives
/// longer than a call (bundles, contexts, services) refers to it weakly.
class FrameworkCore : public std::enable_shared_from_this<FrameworkCore> {
 public:
  /// Makes a framework.
  /// \return its only handle
  static Bundle create(const std::unordered_map<std::string, Any>& configuration, std::ostream* logger);

  FrameworkCore(const std::unordered_map<std::string, Any>& configuration, std::ostream& logger);

  /// Returns the bundle as the services see it.
  ServiceClient clientFor(const std::shared_ptr<BundlePrivate>& bundle);
  const std::shared_ptr<BundlePrivate>& systemBundle() const { return systemBundle_; }

  // Constant after construction:
  const std::uint64_t id;  ///< counted up in the process, so that frameworks have an order
  const FrameworkProperties properties;

  // Synchronised by themselves:
  BundleHandles handles;
  FrameworkLog log;
  EventListeners listeners;
  ServiceRegistry services;
  BundleRegistry bundles;
  BundleLifecycle bundleLifecycle;
  BundleInstaller installer;
  FrameworkLifecycle lifecycle;

 private:
  // Constant after construction, which create() completes:
  std::shared_ptr<BundlePrivate> systemBundle_;
};

}  // namespace cppmicroservices
