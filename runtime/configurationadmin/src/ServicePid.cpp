#include "ServicePid.hpp"

#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/Constants.h"

namespace cppmicroservices::configurationadmin {

namespace {

/// Returns the value if it is a text and not empty.
std::optional<std::string> pidIn(const Any& value) {
  const auto* text = any_cast<std::string>(&value);
  return text && !text->empty() ? std::optional<std::string>(*text) : std::nullopt;
}

std::optional<std::string> nestedPidIn(const Any& value, const std::string& key) {
  const auto* map = any_cast<AnyMap>(&value);
  return map ? pidIn(map->AtCompoundKey(key, Any())) : std::nullopt;
}

}  // namespace

std::optional<std::string> servicePidOf(const ServiceReferenceBase& reference) {
  if (auto pid = nestedPidIn(reference.GetProperty("service"), "pid")) {
    return pid;
  }
  if (auto pid = nestedPidIn(reference.GetProperty("component"), "name")) {
    return pid;
  }
  if (auto pid = pidIn(reference.GetProperty(Constants::SERVICE_PID))) {
    return pid;
  }
  return pidIn(reference.GetProperty("component.name"));
}

}  // namespace cppmicroservices::configurationadmin
