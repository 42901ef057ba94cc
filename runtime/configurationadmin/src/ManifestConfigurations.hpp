#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <vector>

#include "ConfigurationRegistry.hpp"
#include "cppmicroservices/Bundle.h"
#include "cppmicroservices/BundleContext.h"

namespace cppmicroservices::configurationadmin {

/// Keeps up, while a bundle is active, the configurations that its manifest asks for:
/// `"cm": {"version": 1, "configurations": [{"pid": "a.pid", "properties": {}}]}`.
/// Entries that are not of this form are passed over.
class ManifestConfigurations {
 public:
  ManifestConfigurations(const BundleContext& context, std::shared_ptr<ConfigurationRegistry> registry);

  /// To be called while the context is valid. The configurations stay.
  void close();

 private:
  class State;

  BundleContext context_;
  const std::shared_ptr<State> state_;
  ListenerToken token_;
};

}  // namespace cppmicroservices::configurationadmin
