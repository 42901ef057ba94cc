#pragma once

#include <string>

#include <cppmicroservices/Any.h>
#include <nlohmann/json_fwd.hpp>

namespace spfctl {

/// Converts a value of Configuration Admin to JSON: maps with sorted keys, lists in their order, the empty value as
/// null. A value of another type becomes the text that the runtime prints for it.
nlohmann::json toJson(const cppmicroservices::Any& value);

/// Returns an endpoint in one line: a text as it is, any other value as JSON.
std::string endpointText(const cppmicroservices::Any& endpoint);

}  // namespace spfctl
