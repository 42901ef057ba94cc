#include "ServicePid.hpp"

#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/Constants.h"

namespace cppmicroservices::configurationadmin {

namespace {

std::optional<std::string> textOf(Any const& value) {
  auto const* text = any_cast<std::string>(&value);
  return text ? std::optional<std::string>(*text) : std::nullopt;
}

}  // namespace

std::optional<std::string> servicePidOf(ServiceReferenceBase const& reference) {
  for (auto const& name : {Constants::SERVICE_PID, std::string("component.name")}) {
    if (auto pid = textOf(reference.GetProperty(name))) {
      return pid;
    }
  }
  auto const service = reference.GetProperty("service");
  auto const* nested = any_cast<AnyMap>(&service);
  return nested ? textOf(nested->AtCompoundKey("pid", Any())) : std::nullopt;
}

}  // namespace cppmicroservices::configurationadmin
