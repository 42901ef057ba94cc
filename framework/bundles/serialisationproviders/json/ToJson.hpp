#pragma once

#include <cppmicroservices/AnyMap.h>
#include <nlohmann/json_fwd.hpp>

namespace spf::json {

/// \throws std::invalid_argument naming the key whose value has no form in JSON
nlohmann::json toJson(const cppmicroservices::AnyMap& properties);

}  // namespace spf::json
