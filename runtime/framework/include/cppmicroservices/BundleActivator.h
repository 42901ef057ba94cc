#pragma once

#ifndef US_BUNDLE_NAME
#error "US_BUNDLE_NAME is not defined: compile a bundle's code with its symbolic name as US_BUNDLE_NAME"
#endif

#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/GlobalConfig.h"

namespace cppmicroservices {

/// The code that starts and stops a bundle. The framework makes the object before Start and destroys it after Stop, or
/// after a Start that threw.
struct US_Framework_EXPORT BundleActivator {
  virtual ~BundleActivator() = default;

  /// Starts the bundle. An exception makes the start fail.
  virtual void Start(BundleContext context) = 0;

  /// Stops the bundle; the context is still valid. Remaining services and listeners are removed afterwards. An
  /// exception is propagated to the caller of Bundle::Stop; the bundle is stopped all the same.
  virtual void Stop(BundleContext context) = 0;
};

}  // namespace cppmicroservices

/// Makes a default constructible class the bundle's activator. Use it once, in the global namespace.
#define CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(activator_type)                                                      \
  extern "C" US_ABI_EXPORT cppmicroservices::BundleActivator* US_CREATE_ACTIVATOR_FUNC(US_BUNDLE_NAME)();             \
  extern "C" US_ABI_EXPORT cppmicroservices::BundleActivator* US_CREATE_ACTIVATOR_FUNC(US_BUNDLE_NAME)() {            \
    return new activator_type();                                                                                      \
  }                                                                                                                   \
  extern "C" US_ABI_EXPORT void US_DESTROY_ACTIVATOR_FUNC(US_BUNDLE_NAME)(cppmicroservices::BundleActivator*);        \
  extern "C" US_ABI_EXPORT void US_DESTROY_ACTIVATOR_FUNC(US_BUNDLE_NAME)(cppmicroservices::BundleActivator * made) { \
    delete made;                                                                                                      \
  }
