#pragma once

#include <string>
#include <utility>

#include "cppmicroservices/ServiceReference.h"
#include "cppmicroservices/cm/ConfigurationAdmin.hpp"

namespace cppmicroservices::service::cm {

enum class ConfigurationEventType { CM_UPDATED = 1, CM_DELETED = 2 };

/// Reports that a configuration was updated or removed. For a factory's configuration, getFactoryPid() returns the full
/// PID, and getPid() is empty.
class ConfigurationEvent {
 public:
  ConfigurationEvent(ServiceReference<ConfigurationAdmin> configAdmin, ConfigurationEventType type,
                     std::string factoryPid, std::string pid)
      : configAdmin_(std::move(configAdmin)), type_(type), factoryPid_(std::move(factoryPid)), pid_(std::move(pid)) {}

  /// Returns the service to which the configuration belongs.
  const ServiceReference<ConfigurationAdmin>& getReference() const noexcept { return configAdmin_; }
  const std::string& getPid() const noexcept { return pid_; }
  const std::string& getFactoryPid() const noexcept { return factoryPid_; }
  ConfigurationEventType getType() const noexcept { return type_; }

 private:
  const ServiceReference<ConfigurationAdmin> configAdmin_;
  const ConfigurationEventType type_;
  const std::string factoryPid_;
  const std::string pid_;
};

/// A service that is notified of every update and removal, before the services for the PID.
class ConfigurationListener {
 public:
  virtual ~ConfigurationListener() noexcept = default;

  /// Is called on the Configuration Admin's thread, one notification at a time.
  virtual void configurationEvent(const ConfigurationEvent& event) = 0;
};

}  // namespace cppmicroservices::service::cm
