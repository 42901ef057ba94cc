#pragma once

#include <optional>
#include <string>

#include "cppmicroservices/ServiceReferenceBase.h"

namespace cppmicroservices::configurationadmin {

/// The PID that a service was registered with: its property `service.pid`, `component.name`, or `pid` in the
/// map `service`, the first of these that is a std::string.
std::optional<std::string> servicePidOf(const ServiceReferenceBase& reference);

}  // namespace cppmicroservices::configurationadmin
