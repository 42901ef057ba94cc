#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "ConfigurationRegistry.hpp"
#include "cppmicroservices/Bundle.h"
#include "cppmicroservices/BundleContext.h"

namespace cppmicroservices::configurationadmin {

/// Publishes the configurations in a bundle's manifest while the bundle is active:
/// `"cm": {"version": 1, "configurations": [{"pid": "a.pid", "properties": {}}]}`.
/// Entries that are not of this form are ignored.
class ManifestConfigurations {
 public:
  ManifestConfigurations(const BundleContext& context, std::shared_ptr<ConfigurationRegistry> registry);

  /// Stops watching the bundles; their configurations stay. To be called while the context is valid.
  void close();

 private:
  class State;

  BundleContext context_;
  const std::shared_ptr<State> state_;
  ListenerToken token_;
};

}  // namespace cppmicroservices::configurationadmin
