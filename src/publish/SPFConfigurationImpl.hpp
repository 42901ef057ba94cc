#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "model/ConfigurationEntries.hpp"
#include "tracking/OutstandingEndpoints.hpp"

namespace cppmicroservices::service::cm {
class Configuration;
class ConfigurationAdmin;
}  // namespace cppmicroservices::service::cm

namespace agent::spf::frameworksetup {

class SPFConfigurationUpdateTracker;

/// One built configuration. Constructing it publishes it, destroying it withdraws it.
///
/// Takes no lock: one thread at a time uses an object; different objects are independent.
class SPFConfigurationImpl {
 public:
  /// Publishes the configuration as its last step.
  /// \param id     instance name in Configuration Admin; the empty one gets a generated name
  /// \param count  revision that this one follows
  /// \throws whatever a collaborator throws, unchanged; std::runtime_error when Configuration Admin
  ///         returns no configuration. What was done by then is not undone.
  SPFConfigurationImpl(std::string id, std::uint32_t count, ServiceInterfaces interfaces, ServicePublishers publishers,
                       ServiceMappings mappings);

  SPFConfigurationImpl(const SPFConfigurationImpl&) = delete;
  SPFConfigurationImpl& operator=(const SPFConfigurationImpl&) = delete;

  /// Withdraws the configuration if it still has its ID; failures are dropped.
  ~SPFConfigurationImpl();

  bool waitForAllEndpoints(const std::chrono::milliseconds& timeout, const std::string& servicePublisherID);
  bool waitForAllServices(const std::chrono::milliseconds& timeout, const std::string& servicePublisherID);
  bool waitForAllServicesToBeUnpublished(const std::chrono::milliseconds& timeout,
                                         const std::string& servicePublisherID);
  OutstandingEndpoints listOutstandingEndpoints(const std::string& servicePublisherID);

  /// Empty when the configuration is published nowhere, or when another object owns its identity.
  std::string configurationID;
  const std::uint32_t modificationCount;
  ServiceInterfaces serviceInterfaces;
  ServicePublishers servicePublishers;
  ServiceMappings serviceMappings;

  /// Empty when there was no Configuration Admin to publish in.
  std::shared_ptr<SPFConfigurationUpdateTracker> updateTracker;

 private:
  void publishToConfigurationAdmin();
  std::shared_ptr<cppmicroservices::service::cm::Configuration> obtainConfiguration(
      cppmicroservices::service::cm::ConfigurationAdmin& configurationAdmin);
};

}  // namespace agent::spf::frameworksetup
