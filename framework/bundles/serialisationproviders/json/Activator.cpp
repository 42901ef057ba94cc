#include <memory>

#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>
#include "JsonSerialiser.hpp"

namespace spf::json {

using agent::spf::frameworkinterfaces::Serialiser;

class Activator : public cppmicroservices::BundleActivator {
 public:
  void Start(cppmicroservices::BundleContext context) override {
    registration_ = context.RegisterService<Serialiser>(std::make_shared<JsonSerialiser>());
  }

  void Stop(cppmicroservices::BundleContext) override { registration_.Unregister(); }

 private:
  cppmicroservices::ServiceRegistration<Serialiser> registration_;
};

}  // namespace spf::json

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(spf::json::Activator)
