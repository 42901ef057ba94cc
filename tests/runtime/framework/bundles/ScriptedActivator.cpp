#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/GetBundleContext.h>

#include <memory>

#include "Script.hpp"

extern "C" __attribute__((visibility("default"))) int scripted_answer() {
  return 42;
}

namespace {

using spf::test::ContextProbe;
using spf::test::Script;

struct Probe : ContextProbe {
  cppmicroservices::BundleContext contextOfTheCode() const override { return cppmicroservices::GetBundleContext(); }
};

/// Calls the service of type Script at each step, if there is one.
class ScriptedActivator : public cppmicroservices::BundleActivator {
 public:
  ScriptedActivator() : script_(findScript()) { run("construct", cppmicroservices::GetBundleContext()); }

  ~ScriptedActivator() override {
    try {
      run("destroy", cppmicroservices::GetBundleContext());
    } catch (...) {
    }
  }

  void Start(cppmicroservices::BundleContext context) override {
    probe_ = context.RegisterService<ContextProbe>(std::make_shared<Probe>());
    run("start", context);
  }

  void Stop(cppmicroservices::BundleContext context) override { run("stop", context); }

 private:
  static std::shared_ptr<Script> findScript() {
    auto context = cppmicroservices::GetBundleContext();
    const auto reference = context.GetServiceReference<Script>();
    return reference ? context.GetService(reference) : nullptr;
  }

  void run(const std::string& step, const cppmicroservices::BundleContext& context) {
    if (script_) {
      script_->run(step, context);
    }
  }

  const std::shared_ptr<Script> script_;
  cppmicroservices::ServiceRegistration<ContextProbe> probe_;
};

}  // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(ScriptedActivator)
