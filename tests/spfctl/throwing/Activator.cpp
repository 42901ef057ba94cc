#include <cppmicroservices/BundleActivator.h>

#include <stdexcept>

namespace {

class Activator : public cppmicroservices::BundleActivator {
 public:
  void Start(cppmicroservices::BundleContext) override { throw std::runtime_error("the activator refuses"); }
  void Stop(cppmicroservices::BundleContext) override {}
};

}  // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
