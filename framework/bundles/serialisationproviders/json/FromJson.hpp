#pragma once

#include <string>

#include <cppmicroservices/AnyMap.h>

namespace spf::json {

/// \throws std::invalid_argument saying where the text is wrong: it is no JSON, no object, or nested
///         more deeply than messages are
cppmicroservices::AnyMap fromJson(const std::string& text);

}  // namespace spf::json
