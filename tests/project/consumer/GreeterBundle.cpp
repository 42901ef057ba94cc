#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>
#include "Greeter.hpp"

namespace {

class FriendlyGreeter : public Greeter {
 public:
  std::string greet(const std::string& name) override { return "Hello, " + name; }
};

class Activator : public cppmicroservices::BundleActivator {
 public:
  void Start(cppmicroservices::BundleContext context) override {
    context.RegisterService<Greeter>(std::make_shared<FriendlyGreeter>());
  }
  void Stop(cppmicroservices::BundleContext) override {}
};

}  // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
