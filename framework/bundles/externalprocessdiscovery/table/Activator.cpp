#include <memory>

#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>
#include "TableDiscovery.hpp"

namespace spf::discovery {

using agent::spf::frameworkinterfaces::Discovery;

class Activator : public cppmicroservices::BundleActivator {
 public:
  void Start(cppmicroservices::BundleContext context) override {
    registration_ = context.RegisterService<Discovery>(
        std::make_shared<TableDiscovery>(context.GetProperty(TableDiscovery::property)));
  }

  void Stop(cppmicroservices::BundleContext) override { registration_.Unregister(); }

 private:
  cppmicroservices::ServiceRegistration<Discovery> registration_;
};

}  // namespace spf::discovery

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(spf::discovery::Activator)
