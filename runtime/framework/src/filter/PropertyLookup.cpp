#include "filter/PropertyLookup.hpp"

#include <algorithm>
#include <stdexcept>
#include <string_view>
#include <utility>
#include <vector>

#include "cppmicroservices/AnyMap.h"
#include "values/AsciiCase.hpp"

namespace cppmicroservices {

namespace {

bool hasCaseInsensitiveKeys(AnyMap const& properties) {
  return properties.GetType() == AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS;
}

Any const* find(AnyMap const& properties, std::string const& name) {
  auto const found = properties.find(name);
  return found == properties.end() ? nullptr : &found->second;
}

}  // namespace

PropertyLookup lookupIgnoringCase(AnyMap const& properties) {
  if (hasCaseInsensitiveKeys(properties)) {
    return [&properties](std::string const& name) { return find(properties, name); };
  }
  return [&properties](std::string const& name) -> Any const* {
    auto const found = std::find_if(properties.begin(), properties.end(),
                                    [&](auto const& entry) { return ascii::equalIgnoringCase(entry.first, name); });
    return found == properties.end() ? nullptr : &found->second;
  };
}

PropertyLookup lookupExactly(AnyMap const& properties) {
  return [&properties](std::string const& name) -> Any const* {
    auto const found = properties.find(name);
    return found == properties.end() || found->first != name ? nullptr : &found->second;
  };
}

void requireNoCaseVariants(AnyMap const& properties) {
  if (hasCaseInsensitiveKeys(properties)) {
    return;
  }
  std::vector<std::pair<std::uint64_t, std::string const*>> keys;
  keys.reserve(properties.size());
  for (auto const& [key, value] : properties) {
    keys.emplace_back(ascii::hashIgnoringCase(key), &key);
  }
  auto const byHash = [](auto const& left, auto const& right) { return left.first < right.first; };
  std::sort(keys.begin(), keys.end(), byHash);
  for (auto first = keys.begin(); first != keys.end(); ++first) {
    for (auto second = first + 1; second != keys.end() && second->first == first->first; ++second) {
      if (ascii::equalIgnoringCase(*first->second, *second->second)) {
        throw std::runtime_error("Properties contain case variants of the key: " + *first->second);
      }
    }
  }
}

}  // namespace cppmicroservices
