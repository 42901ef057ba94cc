#include <functional>
#include <memory>
#include <type_traits>

#include "ConfigurationAdminService.hpp"
#include "ConfigurationRegistry.hpp"
#include "ManifestConfigurations.hpp"
#include "ServicePid.hpp"
#include "ServiceWatcher.hpp"
#include "cppmicroservices/BundleActivator.h"
#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/ServiceRegistration.h"

namespace cppmicroservices::configurationadmin {

using service::cm::ConfigurationAdmin;
using service::cm::ConfigurationListener;
using service::cm::ManagedService;
using service::cm::ManagedServiceFactory;

namespace {

/// Adds the services of one interface to the registry; managed ones only if they have a PID.
template <class Service>
ServiceWatcher<Service> watch(const BundleContext& context, const std::shared_ptr<ConfigurationRegistry>& registry) {
  const auto added = [registry](const ServiceReference<Service>& reference, const std::shared_ptr<Service>& service) {
    const auto id = any_cast<long>(reference.GetProperty(Constants::SERVICE_ID));
    if constexpr (std::is_same_v<Service, ConfigurationListener>) {
      registry->add(id, service);
    } else if (const auto pid = servicePidOf(reference)) {
      registry->add(id, *pid, service);
    }
  };
  return {context, added, [registry](long id) { registry->remove(id); }};
}

/// The parts of the started bundle.
class Running {
 public:
  explicit Running(BundleContext context)
      : registration_(context.RegisterService<ConfigurationAdmin>(service_)),
        listeners_(watch<ConfigurationListener>(withSource(context), registry_)),
        services_(watch<ManagedService>(context, registry_)),
        factories_(watch<ManagedServiceFactory>(context, registry_)),
        manifests_(context, registry_) {}

  // The configurations are withdrawn with the last pointer to the service, which is usually released here.
  void stop() {
    registration_.Unregister();
    manifests_.close();
    service_.reset();
    registry_->finish();
    listeners_.close();
    services_.close();
    factories_.close();
  }

 private:
  // Events can name their source only after it was registered.
  const BundleContext& withSource(const BundleContext& context) {
    registry_->setAdmin(registration_.GetReference());
    return context;
  }

  const std::shared_ptr<ConfigurationRegistry> registry_ = std::make_shared<ConfigurationRegistry>();
  std::shared_ptr<ConfigurationAdmin> service_ = std::make_shared<ConfigurationAdminService>(registry_);
  ServiceRegistration<ConfigurationAdmin> registration_;
  ServiceWatcher<ConfigurationListener> listeners_;
  ServiceWatcher<ManagedService> services_;
  ServiceWatcher<ManagedServiceFactory> factories_;
  ManifestConfigurations manifests_;
};

class Activator : public BundleActivator {
 public:
  void Start(BundleContext context) override { running_ = std::make_unique<Running>(context); }

  void Stop(BundleContext) override {
    running_->stop();
    running_.reset();
  }

 private:
  std::unique_ptr<Running> running_;
};

}  // namespace

}  // namespace cppmicroservices::configurationadmin

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(cppmicroservices::configurationadmin::Activator)
