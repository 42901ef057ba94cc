#pragma once

#ifndef US_BUNDLE_NAME
#error "US_BUNDLE_NAME is not defined: compile a bundle's code with its symbolic name as US_BUNDLE_NAME"
#endif

#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/BundleInitialization.h"

extern "C" cppmicroservices::BundleContextPrivate* US_GET_CTX_FUNC(US_BUNDLE_NAME)();

namespace cppmicroservices {

namespace detail {
US_Framework_EXPORT BundleContext MakeBundleContext(BundleContextPrivate* context);
}

/// Returns the context of the bundle to which the calling code belongs; an invalid one while the bundle is not started.
static inline BundleContext GetBundleContext() {
  BundleContextPrivate* const context = US_GET_CTX_FUNC(US_BUNDLE_NAME)();
  return context ? detail::MakeBundleContext(context) : BundleContext();
}

}  // namespace cppmicroservices
