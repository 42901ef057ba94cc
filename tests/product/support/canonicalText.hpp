#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "TestFramework.hpp"

namespace spf::test {

inline std::string canonicalText(const Any& value);

inline std::string canonicalText(const List& list) {
  std::string text = "[";
  for (const auto& element : list) {
    text += canonicalText(element) + ",";
  }
  return text + "]";
}

inline std::string canonicalText(const AnyMap& map) {
  std::vector<std::string> entries;
  for (const auto& entry : map) {
    entries.push_back(entry.first + ":" + canonicalText(entry.second) + ",");
  }
  std::sort(entries.begin(), entries.end());
  std::string text = "{";
  for (const auto& entry : entries) {
    text += entry;
  }
  return text + "}";
}

/// A value as text that tells what it holds, and of which type. Neither the kind of a map nor the order
/// of its entries shows.
inline std::string canonicalText(const Any& value) {
  using cppmicroservices::any_cast;
  if (value.Empty()) {
    return "empty";
  }
  if (const auto* list = any_cast<List>(&value)) {
    return canonicalText(*list);
  }
  if (const auto* map = any_cast<AnyMap>(&value)) {
    return canonicalText(*map);
  }
  if (const auto* held = any_cast<std::string>(&value)) {
    return "'" + *held + "'";
  }
  return std::string(value.Type().name()) + " " + value.ToString();
}

/// The same of each element.
inline std::vector<std::string> canonicalTexts(const List& list) {
  std::vector<std::string> result;
  for (const auto& element : list) {
    result.push_back(canonicalText(element));
  }
  return result;
}

/// In ascending order, where the order is nobody's promise.
inline std::vector<std::string> sortedCanonicalTexts(const List& list) {
  auto result = canonicalTexts(list);
  std::sort(result.begin(), result.end());
  return result;
}

}  // namespace spf::test
