#pragma once

#include <exception>
#include <memory>
#include <string>

#include "core/FrameworkListeners.h"

namespace cppmicroservices {

/// A bundle that registers or uses services, with a weak link to its framework, which it may outlive.
struct ServiceClient {
  /// Returns a handle to the bundle, which works even if the framework was destroyed.
  Bundle handle() const;
  /// Sends a framework event about the bundle, unless its framework was destroyed.
  void report(FrameworkEvent::Type type, const std::string& message, std::exception_ptr exception) const;

  std::shared_ptr<BundlePrivate> bundle;
  std::weak_ptr<FrameworkListeners> framework;  // keeps the whole framework alive while it is locked
};

}  // namespace cppmicroservices
