#pragma once

#include <memory>

#include "bundles/BundlePrivate.h"
#include "core/BundleContextPrivate.h"
#include "framework/FrameworkCore.h"

namespace cppmicroservices {

/// The framework and the bundle of a context, kept alive for the length of one call.
struct ContextSession {
  /// Locks the context's bundle and framework.
  /// \throws IllegalStateException if the context is null or no longer valid
  explicit ContextSession(const std::shared_ptr<BundleContextPrivate>& context);

  /// Returns the bundle's identity as a user and owner of services.
  ServiceClient client() const { return framework->clientFor(bundle); }

  const std::shared_ptr<BundlePrivate> bundle;
  const std::shared_ptr<FrameworkCore> framework;
};

}  // namespace cppmicroservices
