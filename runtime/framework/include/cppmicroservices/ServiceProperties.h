#pragma once

#include <string>
#include <unordered_map>

#include "cppmicroservices/AnyMap.h"

namespace cppmicroservices {

/// The properties that a service is registered with. Keys that differ only in case are refused.
using ServiceProperties = std::unordered_map<std::string, Any>;

}  // namespace cppmicroservices
