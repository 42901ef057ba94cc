#include <memory>
#include <string>

#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>
#include "CurveSettings.hpp"
#include "ZeroMqTransport.hpp"
#include "agent/spf/frameworksupport/logWarning.hpp"

namespace spf::zeromq {

using agent::spf::frameworkinterfaces::HealthCheck;
using agent::spf::frameworkinterfaces::Transport;

namespace {

/// Returns null if the framework's properties set no key.
std::unique_ptr<Identity> readIdentity(cppmicroservices::BundleContext context) {
  const auto settings = readCurveSettings([&](const std::string& name) { return context.GetProperty(name); });
  return settings ? makeIdentity(*settings,
                                 [](const std::string& problem) {
                                   agent::spf::frameworksupport::logWarning("spf::zeromq", problem);
                                 })
                  : nullptr;
}

}  // namespace

class Activator : public cppmicroservices::BundleActivator {
 public:
  void Start(cppmicroservices::BundleContext context) override {
    transport_ = std::make_shared<ZeroMqTransport>(readIdentity(context));
    registration_ = context.RegisterService<Transport>(transport_);
    health_ = context.RegisterService<HealthCheck>(transport_,
                                                   {{std::string(HealthCheck::component), std::string("transport")}});
  }

  void Stop(cppmicroservices::BundleContext) override {
    health_.Unregister();
    // Unregistered before the stop, so that no other bundle finds it while it closes its sockets.
    registration_.Unregister();
    transport_->stop();
    transport_.reset();
  }

 private:
  std::shared_ptr<ZeroMqTransport> transport_;
  cppmicroservices::ServiceRegistration<Transport> registration_;
  cppmicroservices::ServiceRegistration<HealthCheck> health_;
};

}  // namespace spf::zeromq

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(spf::zeromq::Activator)
