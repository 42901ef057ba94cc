#pragma once

#include <memory>
#include <string>
#include <vector>

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/ServiceRegistration.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

namespace spf::benchmarks {

namespace cm = cppmicroservices::service::cm;

/// A service that benchmarks register and look up.
struct Station {
  virtual ~Station() = default;
};

/// A started framework with its storage in a temporary folder. The destructor stops it.
class RunningFramework {
 public:
  RunningFramework();
  ~RunningFramework();
  RunningFramework(const RunningFramework&) = delete;
  RunningFramework& operator=(const RunningFramework&) = delete;

  cppmicroservices::BundleContext context() const { return framework_.GetBundleContext(); }

  /// Registers a number of stations, each with its index as the property "index".
  void registerStations(int count);

  cppmicroservices::Bundle installConfigurationAdmin();

  /// Installs and starts Configuration Admin, and returns its service.
  std::shared_ptr<cm::ConfigurationAdmin> startConfigurationAdmin();

  /// Stops the framework, and blocks until it has stopped. May be called before the destructor.
  void stop();

 private:
  std::string storage_;
  cppmicroservices::Framework framework_;
  std::vector<cppmicroservices::ServiceRegistration<Station>> stations_;
};

}  // namespace spf::benchmarks
