#pragma once

#include <cppmicroservices/AnyMap.h>
#include <nlohmann/json_fwd.hpp>

namespace spf::json {

/// Converts a map to a JSON object.
/// \throws std::invalid_argument naming the key whose value cannot be represented
nlohmann::json toJson(const cppmicroservices::AnyMap& properties);

}  // namespace spf::json
