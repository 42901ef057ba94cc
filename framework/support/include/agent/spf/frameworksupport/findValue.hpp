#pragma once

#include <string>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>

namespace agent::spf::frameworksupport {

/// Finds the value under a key of a map.
/// \return null if the map has no such key, or the value is of another type
template <class T>
const T* findValue(const cppmicroservices::AnyMap& map, const std::string& key) {
  const auto entry = map.find(key);
  return entry != map.end() ? cppmicroservices::any_cast<T>(&entry->second) : nullptr;
}

}  // namespace agent::spf::frameworksupport
