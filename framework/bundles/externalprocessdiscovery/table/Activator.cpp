#include <memory>

#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>
#include "TableDiscovery.hpp"
#include "agent/spf/frameworksupport/ListenerCaller.hpp"

namespace spf::discovery {

using agent::spf::frameworkinterfaces::Discovery;
using agent::spf::frameworkinterfaces::DiscoveryListener;
using agent::spf::frameworksupport::ListenerCaller;

class Activator : public cppmicroservices::BundleActivator {
 public:
  void Start(cppmicroservices::BundleContext context) override {
    listeners_ = std::make_shared<ListenerCaller<DiscoveryListener>>(context, &DiscoveryListener::discoveryChanged);
    // The announcements hold the caller too, since they may outlive the bundle.
    discovery_ = std::make_shared<TableDiscovery>(context.GetProperty(TableDiscovery::property),
                                                  [listeners = listeners_] { listeners->request(); });
    registration_ = context.RegisterService<Discovery>(discovery_);
  }

  void Stop(cppmicroservices::BundleContext) override {
    registration_.Unregister();
    discovery_->end();
    listeners_->request();
    listeners_->stop();
  }

 private:
  std::shared_ptr<ListenerCaller<DiscoveryListener>> listeners_;
  std::shared_ptr<TableDiscovery> discovery_;
  cppmicroservices::ServiceRegistration<Discovery> registration_;
};

}  // namespace spf::discovery

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(spf::discovery::Activator)
