#pragma once

#include <string>

#include <cppmicroservices/AnyMap.h>

namespace spf::json {

/// Converts the text of a JSON object to a map.
/// \throws std::invalid_argument naming the position of the error: the text is no JSON, no object, or nested more
///         deeply than messages may be
cppmicroservices::AnyMap fromJson(const std::string& text);

}  // namespace spf::json
