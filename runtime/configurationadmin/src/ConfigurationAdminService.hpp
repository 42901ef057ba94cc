#pragma once

#include <memory>

#include "cppmicroservices/cm/ConfigurationAdmin.hpp"

namespace cppmicroservices::configurationadmin {

class ConfigurationRegistry;

/// The service that the bundle offers. Services keep their configurations as long as this object lives: its destructor
/// withdraws them.
class ConfigurationAdminService : public service::cm::ConfigurationAdmin {
 public:
  using ConfigurationPtr = std::shared_ptr<service::cm::Configuration>;

  explicit ConfigurationAdminService(std::shared_ptr<ConfigurationRegistry> registry);
  ~ConfigurationAdminService() override;
  ConfigurationAdminService(const ConfigurationAdminService&) = delete;
  ConfigurationAdminService& operator=(const ConfigurationAdminService&) = delete;

  ConfigurationPtr GetConfiguration(const std::string& pid) override;
  ConfigurationPtr CreateFactoryConfiguration(const std::string& factoryPid) override;
  ConfigurationPtr GetFactoryConfiguration(const std::string& factoryPid, const std::string& instanceName) override;
  std::vector<ConfigurationPtr> ListConfigurations(const std::string& filter) override;

 private:
  const std::shared_ptr<ConfigurationRegistry> registry_;
};

}  // namespace cppmicroservices::configurationadmin
