#pragma once

#include <memory>
#include <string>

#include "cppmicroservices/cm/Configuration.hpp"

namespace cppmicroservices::configurationadmin {

/// Immutable properties, which are shared instead of copied.
using Properties = std::shared_ptr<const AnyMap>;

/// Returns the factory's part of a PID: the text before the first '~'; an empty text if there is none.
inline std::string factoryPartOf(const std::string& pid) {
  const auto separator = pid.find('~');
  return separator == std::string::npos ? std::string() : pid.substr(0, separator);
}

/// The state of one configuration. A PID that was removed and created again has two records, so that the removal of the
/// first cannot be mistaken for that of the second.
struct ConfigurationRecord {
  ConfigurationRecord(std::string ownPid, std::string reported, unsigned long instance)
      : pid(std::move(ownPid)),
        factoryPid(factoryPartOf(pid)),
        reportedFactoryPid(std::move(reported)),
        instanceCount(instance) {}

  // Constant after construction:
  const std::string pid;
  /// The factory to which the configuration is delivered.
  const std::string factoryPid;
  /// The factory for which the configuration was created.
  const std::string reportedFactoryPid;
  const unsigned long instanceCount;

  // Guarded by the registry's mutex:
  Properties properties = std::make_shared<const AnyMap>();
  unsigned long changeCount = 0;
  bool isRemoved = false;
  /// The configuration's object, as long as a caller holds it.
  std::weak_ptr<service::cm::Configuration> object;
};

using RecordPtr = std::shared_ptr<ConfigurationRecord>;

/// A snapshot of a configuration.
struct ConfigurationState {
  RecordPtr record;
  Properties properties;
};

}  // namespace cppmicroservices::configurationadmin
