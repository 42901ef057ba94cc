#pragma once

#include <string>

#include "cppmicroservices/GlobalConfig.h"

namespace cppmicroservices {

struct BundleActivator;
class BundleContext;
class BundleContextPrivate;

}  // namespace cppmicroservices

// The code of a static bundle is linked into the program. Nothing in the program refers to it, so the linker would
// leave it out of a static library. These macros refer to it. Use one of them once per bundle, in one source file of
// the program, in the global namespace. The program has to export its symbols (ENABLE_EXPORTS in CMake); the bundle is
// installed from the program's own file.

/// Keeps the code of a static bundle that has no activator.
#define CPPMICROSERVICES_INITIALIZE_STATIC_BUNDLE(bundle_name)                                            \
  extern "C" cppmicroservices::BundleContextPrivate* US_GET_CTX_FUNC(bundle_name)();                      \
  extern "C" void US_SET_CTX_FUNC(bundle_name)(cppmicroservices::BundleContextPrivate*);                  \
  [[gnu::used]] static cppmicroservices::BundleContextPrivate* (*const us_kept_get_##bundle_name)() =     \
      &US_GET_CTX_FUNC(bundle_name);                                                                      \
  [[gnu::used]] static void (*const us_kept_set_##bundle_name)(cppmicroservices::BundleContextPrivate*) = \
      &US_SET_CTX_FUNC(bundle_name);

/// Keeps the code of a static bundle and its activator.
#define CPPMICROSERVICES_IMPORT_BUNDLE(bundle_name)                                                      \
  CPPMICROSERVICES_INITIALIZE_STATIC_BUNDLE(bundle_name)                                                 \
  extern "C" cppmicroservices::BundleActivator* US_CREATE_ACTIVATOR_FUNC(bundle_name)();                 \
  extern "C" void US_DESTROY_ACTIVATOR_FUNC(bundle_name)(cppmicroservices::BundleActivator*);            \
  [[gnu::used]] static cppmicroservices::BundleActivator* (*const us_kept_create_##bundle_name)() =      \
      &US_CREATE_ACTIVATOR_FUNC(bundle_name);                                                            \
  [[gnu::used]] static void (*const us_kept_destroy_##bundle_name)(cppmicroservices::BundleActivator*) = \
      &US_DESTROY_ACTIVATOR_FUNC(bundle_name);
