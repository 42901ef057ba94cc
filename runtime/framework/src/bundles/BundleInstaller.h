#pragma once

#include <memory>
#include <string>

#include "bundles/BundleLifecycle.h"
#include "bundles/BundleListeners.h"
#include "bundles/BundleRegistry.h"

namespace cppmicroservices {

/// Installs bundles and announces them. Any thread may use it.
class BundleInstaller {
 public:
  BundleInstaller(BundleRegistry& registry, BundleLifecycle& lifecycle, BundleListeners& listeners);

  /// Installs the bundles of one file, see BundleContext::InstallBundles.
  /// \param origin  the bundle that installs them
  /// \param manifests  manifests by symbolic name; if empty, those in the file
  BundleRegistry::Bundles install(const std::shared_ptr<BundlePrivate>& origin, const std::string& location,
                                  const AnyMap& manifests);
  /// Installs the bundles in the running program's own file, if there are any.
  void installProgram(const std::shared_ptr<BundlePrivate>& system);

 private:
  void announce(const BundleRegistry::Bundles& bundles, const std::shared_ptr<BundlePrivate>& origin);

  BundleRegistry& registry_;
  BundleLifecycle& lifecycle_;
  BundleListeners& listeners_;
};

}  // namespace cppmicroservices
