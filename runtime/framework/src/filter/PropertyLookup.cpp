#include "filter/PropertyLookup.hpp"

#include <algorithm>
#include <cstdint>
#include <stdexcept>
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

Any const* findIgnoringCase(AnyMap const& properties, std::string const& name) {
  auto const found = std::find_if(properties.begin(), properties.end(),
                                  [&](auto const& entry) { return ascii::equalIgnoringCase(entry.first, name); });
  return found == properties.end() ? nullptr : &found->second;
}

/// Compares every key with every other one.
void throwForCaseVariant(AnyMap const& properties) {
  for (auto first = properties.begin(); first != properties.end(); ++first) {
    for (auto second = first; ++second != properties.end();) {
      if (ascii::equalIgnoringCase(first->first, second->first)) {
        throw std::runtime_error("Properties contain case variants of the key: " + first->first);
      }
    }
  }
}

}  // namespace

PropertyLookup lookupIgnoringCase(AnyMap const& properties) {
  if (hasCaseInsensitiveKeys(properties)) {
    return [&properties](std::string const& name) { return find(properties, name); };
  }
  return [&properties](std::string const& name) {
    auto const* const exact = find(properties, name);
    return exact ? exact : findIgnoringCase(properties, name);
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
  std::vector<std::uint64_t> hashes;
  hashes.reserve(properties.size());
  for (auto const& [key, value] : properties) {
    hashes.push_back(ascii::hashIgnoringCase(key));
  }
  std::sort(hashes.begin(), hashes.end());
  if (std::adjacent_find(hashes.begin(), hashes.end()) != hashes.end()) {
    throwForCaseVariant(properties);
  }
}

}  // namespace cppmicroservices
