#pragma once

#include <memory>

#include "cppmicroservices/cm/ConfigurationAdmin.hpp"

namespace cppmicroservices::configurationadmin {

class ConfigurationRegistry;

/// The service that the bundle offers. Configurations stay with those who know of them for as long as somebody
/// holds it: its destructor takes them away.
class ConfigurationAdminService : public service::cm::ConfigurationAdmin {
 public:
  using ConfigurationPtr = std::shared_ptr<service::cm::Configuration>;

  explicit ConfigurationAdminService(std::shared_ptr<ConfigurationRegistry> registry);
  ~ConfigurationAdminService() override;
  ConfigurationAdminService(ConfigurationAdminService const&) = delete;
  ConfigurationAdminService& operator=(ConfigurationAdminService const&) = delete;

  ConfigurationPtr GetConfiguration(std::string const& pid) override;
  ConfigurationPtr CreateFactoryConfiguration(std::string const& factoryPid) override;
  ConfigurationPtr GetFactoryConfiguration(std::string const& factoryPid, std::string const& instanceName) override;
  std::vector<ConfigurationPtr> ListConfigurations(std::string const& filter) override;

 private:
  const std::shared_ptr<ConfigurationRegistry> registry_;
};

}  // namespace cppmicroservices::configurationadmin
