#pragma once

#include <memory>
#include <string>
#include <vector>

#include "cppmicroservices/cm/Configuration.hpp"

namespace cppmicroservices::service::cm {

/// The service that keeps the configurations. May be used by several threads.
class ConfigurationAdmin {
 public:
  virtual ~ConfigurationAdmin() noexcept = default;

  /// The configuration of that PID; a new one, of which nobody is told yet, if there is none. What
  /// stands before the first '~' of a PID is the PID of its factory.
  virtual std::shared_ptr<Configuration> GetConfiguration(const std::string& pid) = 0;

  /// A new configuration of that factory, under a PID that was never used.
  virtual std::shared_ptr<Configuration> CreateFactoryConfiguration(const std::string& factoryPid) = 0;

  /// The configuration with the PID `factoryPid~instanceName`, as GetConfiguration().
  virtual std::shared_ptr<Configuration> GetFactoryConfiguration(const std::string& factoryPid,
                                                                 const std::string& instanceName) = 0;

  /// The configurations that were updated at least once and match, in no order. The filter sees the
  /// properties and `pid`; without one, all of them match.
  /// \throws std::invalid_argument if the filter cannot be parsed
  virtual std::vector<std::shared_ptr<Configuration>> ListConfigurations(const std::string& filter = {}) = 0;
};

}  // namespace cppmicroservices::service::cm
