#pragma once

#include <string>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>

namespace agent::spf::frameworksupport {

/// Returns the text under a key of a map.
/// \throws std::out_of_range if the map has no such key
/// \throws cppmicroservices::BadAnyCastException if the value is no text
inline std::string text(const cppmicroservices::AnyMap& map, const std::string& key) {
  return cppmicroservices::any_cast<std::string>(map.at(key));
}

}  // namespace agent::spf::frameworksupport
