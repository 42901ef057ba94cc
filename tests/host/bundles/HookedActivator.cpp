#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>
#include "Hooks.hpp"

namespace {

class HookedActivator : public cppmicroservices::BundleActivator {
 public:
  void Start(cppmicroservices::BundleContext) override { hostTestOnStart(); }
  void Stop(cppmicroservices::BundleContext) override { hostTestOnStop(); }
};

}  // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(HookedActivator)
