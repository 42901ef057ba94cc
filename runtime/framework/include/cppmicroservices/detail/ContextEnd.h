#pragma once

#include <memory>

#include "cppmicroservices/FrameworkExport.h"

namespace cppmicroservices {

class BundleContext;

namespace detail {

/// An object that waits for something that cannot happen any more once a bundle context is invalid.
class ContextEndListener {
 public:
  virtual ~ContextEndListener() = default;
  /// Is called when the context has become invalid, with no lock held.
  virtual void onContextEnd() noexcept = 0;
};

/// Calls the listener once when the context becomes invalid, or at once if it is invalid already.
US_Framework_EXPORT void addContextEndListener(const BundleContext& context,
                                               std::weak_ptr<ContextEndListener> listener);

}  // namespace detail

}  // namespace cppmicroservices
