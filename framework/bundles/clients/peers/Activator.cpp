#include <memory>

#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>
#include "TransportPeerDirectory.hpp"

namespace spf::peers {

using agent::spf::frameworkinterfaces::PeerDirectory;

class Activator : public cppmicroservices::BundleActivator {
 public:
  void Start(cppmicroservices::BundleContext context) override {
    registration_ = context.RegisterService<PeerDirectory>(std::make_shared<TransportPeerDirectory>(context));
  }

  void Stop(cppmicroservices::BundleContext) override { registration_.Unregister(); }

 private:
  cppmicroservices::ServiceRegistration<PeerDirectory> registration_;
};

}  // namespace spf::peers

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(spf::peers::Activator)
