#include <list>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/LDAPFilter.h>
#include "Target.hpp"

// The input is the text of a filter.

namespace {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using cppmicroservices::LDAPFilter;

/// Returns a map with a property of each type that filters compare, and of some that they do not.
AnyMap properties(AnyMap::map_type type) {
  return AnyMap(type, {{"s", std::string("ab c*()\\\x7f")},
                       {"t", std::string("")},
                       {"i", 5},
                       {"l", -3L},
                       {"u", 7u},
                       {"y", static_cast<unsigned char>(200)},
                       {"b", true},
                       {"d", 0.5},
                       {"f", 2.25f},
                       {"c", 'x'},
                       {"p", static_cast<const char*>("pointed")},
                       {"v", std::vector<std::string>{"one", "two"}},
                       {"w", std::list<std::string>{"three"}},
                       {"a", std::vector<Any>{1, std::string("two"), Any(), std::vector<Any>{true}}},
                       {"m", AnyMap(AnyMap::ORDERED_MAP, {{"x", 1}})},
                       {"e", Any()}});
}

std::optional<LDAPFilter> parsed(const std::string& text) {
  try {
    return LDAPFilter(text);
  } catch (const std::invalid_argument&) {
    return std::nullopt;
  }
}

void compare(const LDAPFilter& left, const LDAPFilter& right, const AnyMap& map) {
  spf::fuzz::require(left.Match(map) == right.Match(map), "a filter and its text match the same maps");
  spf::fuzz::require(left.MatchCase(map) == right.MatchCase(map),
                     "a filter and its text match the same maps if case matters");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::vector<AnyMap> maps = {properties(AnyMap::ORDERED_MAP), properties(AnyMap::UNORDERED_MAP),
                                           properties(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS), AnyMap()};
  const auto filter = parsed(std::string(reinterpret_cast<const char*>(data), size));
  if (!filter) {
    return 0;
  }
  const auto again = parsed(filter->ToString());
  spf::fuzz::require(again.has_value(), "the text of a filter is a filter");
  spf::fuzz::require(*again == *filter, "the text of a filter yields an equal filter");
  for (const auto& map : maps) {
    compare(*filter, *again, map);
  }
  return 0;
}
