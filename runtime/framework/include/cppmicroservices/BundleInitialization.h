#pragma once

#ifndef US_BUNDLE_NAME
#error "US_BUNDLE_NAME is not defined: compile a bundle's code with its symbolic name as US_BUNDLE_NAME"
#endif

#include <atomic>
#include <functional>

#include "cppmicroservices/GlobalConfig.h"

namespace cppmicroservices {

class BundleContextPrivate;
using SetBundleContextFn = std::function<void(BundleContextPrivate*)>;

}  // namespace cppmicroservices

/// Holds the bundle's context for GetBundleContext(). Use it once, in one source file of the bundle, in the global
/// namespace.
#define CPPMICROSERVICES_INITIALIZE_BUNDLE                                                                          \
  std::atomic<cppmicroservices::BundleContextPrivate*> US_CTX_INS(US_BUNDLE_NAME){};                                \
  extern "C" cppmicroservices::BundleContextPrivate* US_GET_CTX_FUNC(US_BUNDLE_NAME)();                             \
  extern "C" cppmicroservices::BundleContextPrivate* US_GET_CTX_FUNC(US_BUNDLE_NAME)() {                            \
    return US_CTX_INS(US_BUNDLE_NAME).load();                                                                       \
  }                                                                                                                 \
  extern "C" US_ABI_EXPORT void US_SET_CTX_FUNC(US_BUNDLE_NAME)(cppmicroservices::BundleContextPrivate*);           \
  extern "C" US_ABI_EXPORT void US_SET_CTX_FUNC(US_BUNDLE_NAME)(cppmicroservices::BundleContextPrivate * context) { \
    US_CTX_INS(US_BUNDLE_NAME).store(context);                                                                      \
  }
