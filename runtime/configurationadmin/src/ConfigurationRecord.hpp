#pragma once

#include <memory>
#include <string>

#include "cppmicroservices/cm/Configuration.hpp"

namespace cppmicroservices::configurationadmin {

/// Properties that never change again, so that they can be shared instead of copied.
using Properties = std::shared_ptr<const AnyMap>;

/// The factory's part of a PID: what stands before the first '~', if there is one.
inline std::string factoryPartOf(const std::string& pid) {
  const auto separator = pid.find('~');
  return separator == std::string::npos ? std::string() : pid.substr(0, separator);
}

/// What is known of one configuration. Of a PID that was removed and made again there are two, so that
/// the end of the one cannot be taken for that of the other.
struct ConfigurationRecord {
  ConfigurationRecord(std::string pidOfIt, std::string reported, unsigned long instance)
      : pid(std::move(pidOfIt)),
        factoryPid(factoryPartOf(pid)),
        reportedFactoryPid(std::move(reported)),
        instanceCount(instance) {}

  // Constant after construction:
  const std::string pid;
  /// The factory that is told of it.
  const std::string factoryPid;
  /// The factory that it was made for.
  const std::string reportedFactoryPid;
  const unsigned long instanceCount;

  // Guarded by the mutex of the registry that it belongs to.
  Properties properties = std::make_shared<const AnyMap>();
  unsigned long changeCount = 0;
  bool isRemoved = false;
  /// The object that stands for it as long as somebody holds it.
  std::weak_ptr<service::cm::Configuration> object;
};

using RecordPtr = std::shared_ptr<ConfigurationRecord>;

/// A configuration as it was at some time.
struct ConfigurationState {
  RecordPtr record;
  Properties properties;
};

}  // namespace cppmicroservices::configurationadmin
