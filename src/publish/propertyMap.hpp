#pragma once

#include <string>
#include <utility>

#include <cppmicroservices/AnyMap.h>

namespace agent::spf::frameworksetup {

/// Returns an empty map of the kind that all properties are made of: keys ignore case, order is undefined.
inline cppmicroservices::AnyMap makePropertyMap() {
  return cppmicroservices::AnyMap(cppmicroservices::AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
}

/// Sets the value of a key without copying it. An entry under an equal key keeps its key text.
template <class Map>
void setProperty(Map& map, std::string&& key, cppmicroservices::Any&& value) {
  map[std::move(key)].Swap(value);
}

}  // namespace agent::spf::frameworksetup
