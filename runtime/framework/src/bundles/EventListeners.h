#pragma once

#include "bundles/BundleListeners.h"
#include "core/FrameworkListeners.h"
#include "services/ServiceListeners.h"

namespace cppmicroservices {

/// One framework's listeners of all three kinds. Any thread may use it.
struct EventListeners {
  EventListeners(const BundleHandles& handles, FrameworkLog& log);

  /// Removes the listener that the token names, if there is one.
  void remove(const ListenerToken& token);
  /// Removes all of the context's listeners.
  void removeAllOf(const BundleContextPrivate& context);

  // Synchronised by themselves:
  FrameworkListeners framework;
  ServiceListeners services;
  BundleListeners bundles;
};

}  // namespace cppmicroservices
