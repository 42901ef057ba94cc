#pragma once

#include <memory>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/ServiceRegistration.h>
#include <cppmicroservices/cm/ManagedServiceFactory.hpp>

namespace spf::benchmarks {

/// The least that any framework does for a configuration: on one thread of its own it binds a socket for each
/// publisher, tells every listener about endpoint and services, and closes the sockets after the withdrawal. It keeps
/// no state that it could name, survives no failure, and knows one endpoint per publisher, with the scheme inproc.
class LeastFramework {
 public:
  /// Answers the configurations that are published from now on.
  explicit LeastFramework(cppmicroservices::BundleContext context);

  /// Must be called before the framework of the context stops.
  ~LeastFramework();

  LeastFramework(const LeastFramework&) = delete;
  LeastFramework& operator=(const LeastFramework&) = delete;

 private:
  cppmicroservices::ServiceRegistration<cppmicroservices::service::cm::ManagedServiceFactory> registration_;
};

}  // namespace spf::benchmarks
