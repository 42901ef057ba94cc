#include "ServicePid.hpp"

#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/Constants.h"

namespace cppmicroservices::configurationadmin {

namespace {

/// A PID is a text, and not an empty one.
std::optional<std::string> pidIn(Any const& value) {
  auto const* text = any_cast<std::string>(&value);
  return text && !text->empty() ? std::optional<std::string>(*text) : std::nullopt;
}

std::optional<std::string> nestedPidIn(Any const& value, std::string const& key) {
  auto const* map = any_cast<AnyMap>(&value);
  return map ? pidIn(map->AtCompoundKey(key, Any())) : std::nullopt;
}

}  // namespace

std::optional<std::string> servicePidOf(ServiceReferenceBase const& reference) {
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
