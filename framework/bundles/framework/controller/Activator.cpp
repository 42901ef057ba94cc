#include <memory>
#include <string>

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>
#include "Controller.hpp"
#include "EventDispatcher.hpp"

namespace spf::controller {

using agent::spf::frameworkinterfaces::EventSink;
using agent::spf::frameworkinterfaces::HealthCheck;
using cppmicroservices::service::cm::ManagedServiceFactory;

class Activator : public cppmicroservices::BundleActivator {
 public:
  void Start(cppmicroservices::BundleContext context) override {
    // The framework's context, since events may still be delivered after this bundle has stopped.
    dispatcher_ = std::make_shared<EventDispatcher>(context.GetBundle(0).GetBundleContext());
    controller_ = std::make_shared<Controller>(context, dispatcher_);
    // Before the factory: publishers report as soon as the controller has a configuration.
    sink_ = context.RegisterService<EventSink>(dispatcher_);
    factory_ = context.RegisterService<ManagedServiceFactory>(
        controller_, {{std::string("service.pid"), std::string("zk.spf.framework")}});
    health_ = context.RegisterService<HealthCheck>(dispatcher_,
                                                   {{std::string(HealthCheck::component), std::string("controller")}});
  }

  void Stop(cppmicroservices::BundleContext) override {
    health_.Unregister();
    factory_.Unregister();
    controller_->stop();
    sink_.Unregister();
    dispatcher_->stop();
  }

 private:
  std::shared_ptr<EventDispatcher> dispatcher_;
  std::shared_ptr<Controller> controller_;
  cppmicroservices::ServiceRegistration<EventSink> sink_;
  cppmicroservices::ServiceRegistration<ManagedServiceFactory> factory_;
  cppmicroservices::ServiceRegistration<HealthCheck> health_;
};

}  // namespace spf::controller

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(spf::controller::Activator)
