#include <memory>
#include <string>

#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/ServiceEvent.h>
#include <cppmicroservices/cm/ManagedServiceFactory.hpp>
#include "PublisherManager.hpp"
#include "agent/spf/frameworkinterfaces/Discovery.hpp"
#include "agent/spf/frameworkinterfaces/EndpointStatus.hpp"
#include "agent/spf/frameworkinterfaces/HealthCheck.hpp"
#include "agent/spf/frameworkinterfaces/Transport.hpp"

namespace spf::publishers {

using agent::spf::frameworkinterfaces::Discovery;
using agent::spf::frameworkinterfaces::DiscoveryListener;
using agent::spf::frameworkinterfaces::EndpointStatus;
using agent::spf::frameworkinterfaces::HealthCheck;
using agent::spf::frameworkinterfaces::Transport;
using cppmicroservices::AnyMap;
using cppmicroservices::ServiceEvent;
using cppmicroservices::service::cm::ManagedServiceFactory;

namespace {

/// Receives the configurations of one kind of publisher. Configuration Admin may still call it for some time after it
/// was unregistered; the manager then does nothing.
class Factory : public ManagedServiceFactory {
 public:
  Factory(Kind kind, std::shared_ptr<PublisherManager> manager) : kind_(kind), manager_(std::move(manager)) {}

  void Updated(const std::string& pid, const AnyMap& properties) override { manager_->update(kind_, pid, properties); }
  void Removed(const std::string& pid) override { manager_->remove(pid); }

 private:
  const Kind kind_;
  const std::shared_ptr<PublisherManager> manager_;
};

/// Lets the publishers follow a class of services, whenever one of them is registered, changed or unregistered: it may
/// be the missing one, or take over from another one.
template <class Service>
cppmicroservices::ListenerToken followServices(cppmicroservices::BundleContext& context,
                                               const std::shared_ptr<PublisherManager>& manager) {
  // One listener for each class: in some releases of CppMicroServices a filter for two classes receives the events of
  // one of them only.
  return context.AddServiceListener(
      [manager](const ServiceEvent&) { manager->followServices(); },
      "(" + cppmicroservices::Constants::OBJECTCLASS + "=" + us_service_interface_iid<Service>() + ")");
}

}  // namespace

class Activator : public cppmicroservices::BundleActivator {
 public:
  void Start(cppmicroservices::BundleContext context) override {
    manager_ = std::make_shared<PublisherManager>(context);
    status_ = context.RegisterService<EndpointStatus>(manager_->states());
    transportListener_ = followServices<Transport>(context, manager_);
    discoveryListener_ = followServices<Discovery>(context, manager_);
    names_ = context.RegisterService<DiscoveryListener>(manager_);
    rpc_ = registerFactory(context, Kind::rpc, "zk.spf.rpcservicepublisher");
    legacy_ = registerFactory(context, Kind::legacy, "zk.spf.legacyservicepublisher");
    health_ = context.RegisterService<HealthCheck>(manager_,
                                                   {{std::string(HealthCheck::component), std::string("publishers")}});
  }

  void Stop(cppmicroservices::BundleContext context) override {
    health_.Unregister();
    rpc_.Unregister();
    legacy_.Unregister();
    names_.Unregister();
    context.RemoveListener(std::move(transportListener_));
    context.RemoveListener(std::move(discoveryListener_));
    status_.Unregister();
    manager_->stop();
  }

 private:
  using Registration = cppmicroservices::ServiceRegistration<ManagedServiceFactory>;

  Registration registerFactory(cppmicroservices::BundleContext& context, Kind kind, const char* factoryPID) {
    return context.RegisterService<ManagedServiceFactory>(std::make_shared<Factory>(kind, manager_),
                                                          {{std::string("service.pid"), std::string(factoryPID)}});
  }

  std::shared_ptr<PublisherManager> manager_;
  cppmicroservices::ListenerToken transportListener_;
  cppmicroservices::ListenerToken discoveryListener_;
  cppmicroservices::ServiceRegistration<EndpointStatus> status_;
  cppmicroservices::ServiceRegistration<DiscoveryListener> names_;
  Registration rpc_;
  Registration legacy_;
  cppmicroservices::ServiceRegistration<HealthCheck> health_;
};

}  // namespace spf::publishers

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(spf::publishers::Activator)
