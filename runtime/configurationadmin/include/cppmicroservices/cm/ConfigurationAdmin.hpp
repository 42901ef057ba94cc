#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cppmicroservices/cm/Configuration.hpp"

namespace cppmicroservices::service::cm {

/// The service that holds the configurations. Any thread may use it.
class ConfigurationAdmin {
 public:
  virtual ~ConfigurationAdmin() noexcept = default;

  /// Returns the configuration of that PID. If there is none, creates one, which is delivered with its first update.
  /// The part of a PID before its first '~' is the PID of its factory.
  virtual std::shared_ptr<Configuration> GetConfiguration(const std::string& pid) = 0;

  /// Creates a configuration of that factory, with a PID that was never used before.
  virtual std::shared_ptr<Configuration> CreateFactoryConfiguration(const std::string& factoryPid) = 0;

  /// Returns the configuration with the PID `factoryPid~instanceName`, as GetConfiguration().
  virtual std::shared_ptr<Configuration> GetFactoryConfiguration(const std::string& factoryPid,
                                                                 const std::string& instanceName) = 0;

  /// Returns the configurations that were updated at least once and match, in no particular order. The filter is
  /// applied to the properties and `pid`; an empty one matches all.
  /// \throws std::invalid_argument if the filter cannot be parsed
  virtual std::vector<std::shared_ptr<Configuration>> ListConfigurations(const std::string& filter = {}) = 0;
};

}  // namespace cppmicroservices::service::cm
