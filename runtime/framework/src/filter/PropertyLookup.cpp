#include "filter/PropertyLookup.hpp"

#include <algorithm>
#include <cstdint>
#include <stdexcept>
#include <vector>

#include "cppmicroservices/AnyMap.h"
#include "values/AsciiCase.hpp"

namespace cppmicroservices {

namespace {

bool hasCaseInsensitiveKeys(const AnyMap& properties) {
  return properties.GetType() == AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS;
}

const Any* find(const AnyMap& properties, const std::string& name) {
  const auto found = properties.find(name);
  return found == properties.end() ? nullptr : &found->second;
}

const Any* findIgnoringCase(const AnyMap& properties, const std::string& name) {
  const auto found = std::find_if(properties.begin(), properties.end(),
                                  [&](const auto& entry) { return ascii::equalIgnoringCase(entry.first, name); });
  return found == properties.end() ? nullptr : &found->second;
}

/// Compares every key with every other one.
void throwForCaseVariant(const AnyMap& properties) {
  for (auto first = properties.begin(); first != properties.end(); ++first) {
    for (auto second = first; ++second != properties.end();) {
      if (ascii::equalIgnoringCase(first->first, second->first)) {
        throw std::runtime_error("Properties contain case variants of the key: " + first->first);
      }
    }
  }
}

}  // namespace

PropertyLookup lookupIgnoringCase(const AnyMap& properties) {
  if (hasCaseInsensitiveKeys(properties)) {
    return [&properties](const std::string& name) { return find(properties, name); };
  }
  return [&properties](const std::string& name) {
    const auto* const exact = find(properties, name);
    return exact ? exact : findIgnoringCase(properties, name);
  };
}

PropertyLookup lookupExactly(const AnyMap& properties) {
  return [&properties](const std::string& name) -> const Any* {
    const auto found = properties.find(name);
    return found == properties.end() || found->first != name ? nullptr : &found->second;
  };
}

void requireNoCaseVariants(const AnyMap& properties) {
  if (hasCaseInsensitiveKeys(properties)) {
    return;
  }
  std::vector<std::uint64_t> hashes;
  hashes.reserve(properties.size());
  for (const auto& [key, value] : properties) {
    hashes.push_back(ascii::hashIgnoringCase(key));
  }
  std::sort(hashes.begin(), hashes.end());
  if (std::adjacent_find(hashes.begin(), hashes.end()) != hashes.end()) {
    throwForCaseVariant(properties);
  }
}

}  // namespace cppmicroservices
