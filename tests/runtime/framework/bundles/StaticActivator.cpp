#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleInitialization.h>
#include <cppmicroservices/GetBundleContext.h>

#include <memory>
#include <string>

CPPMICROSERVICES_INITIALIZE_BUNDLE

namespace {

/// Registers the bundle's name, which it reads from the context of its own code, as a service.
struct StaticActivator : cppmicroservices::BundleActivator {
  void Start(cppmicroservices::BundleContext context) override {
    const auto name = cppmicroservices::GetBundleContext().GetBundle().GetSymbolicName();
    static_cast<void>(context.RegisterService<std::string>(std::make_shared<std::string>(name)));
  }
  void Stop(cppmicroservices::BundleContext) override {}
};

}  // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(StaticActivator)
