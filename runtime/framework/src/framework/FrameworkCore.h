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

/// One framework: it makes the parts and passes each its collaborators. The parts do not know it.
///
/// The lease that the handles share owns it, and so does each running call; objects that live longer than a call
/// (bundles, contexts, services) refer to it weakly.
class FrameworkCore : public std::enable_shared_from_this<FrameworkCore> {
 public:
  /// Makes a framework.
  /// \return its only handle
  static Bundle create(const std::unordered_map<std::string, Any>& configuration, std::ostream* logger);

  FrameworkCore(const std::unordered_map<std::string, Any>& configuration, std::ostream& logger);

  /// Returns a bundle's identity as a user and owner of services.
  ServiceClient clientFor(const std::shared_ptr<BundlePrivate>& bundle);
  const std::shared_ptr<BundlePrivate>& systemBundle() const { return systemBundle_; }

  // Constant after construction:
  const std::uint64_t id;  ///< unique and ascending in the process, so that frameworks have an order
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
