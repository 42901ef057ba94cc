#pragma once

#include <string>
#include <utility>

#include <cppmicroservices/AnyMap.h>

namespace agent::spf::frameworksetup {

/// An empty map of the kind that all properties are made of: keys ignore case, order is undefined.
inline cppmicroservices::AnyMap emptyProperties() {
  return cppmicroservices::AnyMap(cppmicroservices::AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
}

/// Puts a value under a key without copying it. An entry under an equal key keeps its key text.
inline void place(cppmicroservices::AnyMap& map, std::string key, cppmicroservices::Any value) {
  map[std::move(key)].Swap(value);
}

}  // namespace agent::spf::frameworksetup
