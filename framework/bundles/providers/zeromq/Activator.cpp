#include <memory>

#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>
#include "ZeroMqTransport.hpp"

namespace spf::zeromq {

class Activator : public cppmicroservices::BundleActivator {
 public:
  void Start(cppmicroservices::BundleContext context) override {
    transport_ = std::make_shared<ZeroMqTransport>();
    registration_ = context.RegisterService<agent::spf::frameworkinterfaces::Transport>(transport_);
  }

  void Stop(cppmicroservices::BundleContext) override {
    // Unregistered first, so that no other bundle finds it while it closes its sockets.
    registration_.Unregister();
    transport_->stop();
    transport_.reset();
  }

 private:
  std::shared_ptr<ZeroMqTransport> transport_;
  cppmicroservices::ServiceRegistration<agent::spf::frameworkinterfaces::Transport> registration_;
};

}  // namespace spf::zeromq

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(spf::zeromq::Activator)
