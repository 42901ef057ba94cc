#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <cppmicroservices/ServiceRegistration.h>
#include <cppmicroservices/cm/Configuration.hpp>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

namespace spf::soak {

/// Stands before the framework's own Configuration Admin for as long as it is registered, and throws at some calls.
class FlakyConfigurationAdmin : public cppmicroservices::service::cm::ConfigurationAdmin {
 public:
  /// \param own   that of the framework, which every call that does not throw reaches
  /// \param fail  tells at each call, on any thread, whether it throws
  FlakyConfigurationAdmin(std::shared_ptr<ConfigurationAdmin> own, std::function<bool()> fail);

  std::shared_ptr<cppmicroservices::service::cm::Configuration> GetConfiguration(const std::string& pid) override;
  std::shared_ptr<cppmicroservices::service::cm::Configuration> CreateFactoryConfiguration(
      const std::string& factoryPid) override;
  std::shared_ptr<cppmicroservices::service::cm::Configuration> GetFactoryConfiguration(
      const std::string& factoryPid, const std::string& instanceName) override;
  std::vector<std::shared_ptr<cppmicroservices::service::cm::Configuration>> ListConfigurations(
      const std::string& filter) override;

 private:
  void call() const;
  std::shared_ptr<cppmicroservices::service::cm::Configuration> flaky(
      std::shared_ptr<cppmicroservices::service::cm::Configuration> configuration) const;

  const std::shared_ptr<ConfigurationAdmin> own_;
  const std::function<bool()> fail_;
};

}  // namespace spf::soak
