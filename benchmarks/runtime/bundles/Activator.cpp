#include <cppmicroservices/BundleActivator.h>

namespace spf::benchmarks {

namespace {

class Activator : public cppmicroservices::BundleActivator {
 public:
  void Start(cppmicroservices::BundleContext) override {}
  void Stop(cppmicroservices::BundleContext) override {}
};

}  // namespace

}  // namespace spf::benchmarks

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(spf::benchmarks::Activator)
