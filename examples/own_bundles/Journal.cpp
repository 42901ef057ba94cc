// A bundle with code: registers a FrameworkListener, which prints a line for each event of the framework.

#include <iostream>
#include <memory>

#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>
#include <agent/spf/frameworklistener/FrameworkListener.hpp>

using agent::spf::frameworklistener::EndpointEvent;
using agent::spf::frameworklistener::ErrorEvent;
using agent::spf::frameworklistener::FrameworkEvent;
using agent::spf::frameworklistener::FrameworkListener;
using agent::spf::frameworklistener::ServicesEvent;

namespace {

class Journal : public FrameworkListener {
 public:
  // Runs on a thread of the framework: it returns soon, and knows only what `kind` says.
  void handleEvent(std::shared_ptr<const FrameworkEvent> event) override {
    if (event->kind == FrameworkEvent::services) {
      const auto& services = static_cast<const ServicesEvent&>(*event);
      std::cout << "journal: " << services.servicePublisherID
                << (services.change == ServicesEvent::allPublished ? " has published" : " has unpublished")
                << " its services" << std::endl;
    } else if (event->kind == FrameworkEvent::endpoint) {
      const auto& endpoint = static_cast<const EndpointEvent&>(*event);
      std::cout << "journal: " << endpoint.servicePublisherID << " has " << endpoint.endpoint.ToString() << std::endl;
    } else if (event->kind == FrameworkEvent::error) {
      std::cout << "journal: " << static_cast<const ErrorEvent&>(*event).servicePublisherID << " has failed"
                << std::endl;
    }
  }
};

class Activator : public cppmicroservices::BundleActivator {
 public:
  void Start(cppmicroservices::BundleContext context) override {
    registration_ = context.RegisterService<FrameworkListener>(std::make_shared<Journal>());
  }

  void Stop(cppmicroservices::BundleContext) override { registration_.Unregister(); }

 private:
  cppmicroservices::ServiceRegistration<FrameworkListener> registration_;
};

}  // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
