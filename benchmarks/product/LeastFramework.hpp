#pragma once

#include <memory>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/ServiceRegistration.h>
#include <cppmicroservices/cm/ManagedServiceFactory.hpp>

namespace spf::benchmarks {

/// A framework that does the least for a configuration. On one thread of its own it binds a socket for each publisher,
/// reports the endpoint and the services to every listener, and closes the sockets after the withdrawal. It handles no
/// failure, and binds the first endpoint of each publisher only.
class LeastFramework {
 public:
  /// Serves the configurations that are published from now on, until its end.
  /// \param context  of a framework that stops after this object's end
  explicit LeastFramework(cppmicroservices::BundleContext context);

  ~LeastFramework();

  LeastFramework(const LeastFramework&) = delete;
  LeastFramework& operator=(const LeastFramework&) = delete;

 private:
  cppmicroservices::ServiceRegistration<cppmicroservices::service::cm::ManagedServiceFactory> registration_;
};

}  // namespace spf::benchmarks
