#pragma once

#include <optional>
#include <string>

#include "cppmicroservices/ServiceReferenceBase.h"

namespace cppmicroservices::configurationadmin {

/// Returns the PID with which a service was registered: the first of `pid` in the map `service`, `name` in the map
/// `component`, and the properties `service.pid` and `component.name` that is a std::string and not empty.
std::optional<std::string> servicePidOf(const ServiceReferenceBase& reference);

}  // namespace cppmicroservices::configurationadmin
