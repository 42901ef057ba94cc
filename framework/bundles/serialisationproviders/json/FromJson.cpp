#include "FromJson.hpp"

#include <limits>
#include <stdexcept>
#include <vector>

#include <nlohmann/json.hpp>

namespace spf::json {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;

namespace {

/// Limits the recursion, because the text is from other processes.
constexpr int maxDepth = 100;

Any valueFrom(const nlohmann::json& json);

template <class Integer>
Any integerFrom(Integer value) {
  if (value <= static_cast<Integer>(std::numeric_limits<int>::max()) &&
      (std::is_unsigned_v<Integer> || value >= static_cast<Integer>(std::numeric_limits<int>::min()))) {
    return Any(static_cast<int>(value));
  }
  if (value <= static_cast<Integer>(std::numeric_limits<long>::max())) {
    return Any(static_cast<long>(value));
  }
  return Any(static_cast<double>(value));
}

AnyMap mapFrom(const nlohmann::json& json) {
  AnyMap map(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
  for (const auto& [key, value] : json.items()) {
    map[key] = valueFrom(value);
  }
  return map;
}

Any listFrom(const nlohmann::json& json) {
  std::vector<Any> list;
  list.reserve(json.size());
  for (const auto& element : json) {
    list.push_back(valueFrom(element));
  }
  return Any(std::move(list));
}

Any valueFrom(const nlohmann::json& json) {
  switch (json.type()) {
    case nlohmann::json::value_t::boolean:
      return Any(json.get<bool>());
    case nlohmann::json::value_t::number_integer:
      return integerFrom(json.get<nlohmann::json::number_integer_t>());
    case nlohmann::json::value_t::number_unsigned:
      return integerFrom(json.get<nlohmann::json::number_unsigned_t>());
    case nlohmann::json::value_t::number_float:
      return Any(json.get<double>());
    case nlohmann::json::value_t::string:
      return Any(json.get<std::string>());
    case nlohmann::json::value_t::array:
      return listFrom(json);
    case nlohmann::json::value_t::object:
      return Any(mapFrom(json));
    default:
      return Any();
  }
}

bool limitDepth(int depth, nlohmann::json::parse_event_t, nlohmann::json&) {
  if (depth > maxDepth) {
    throw std::invalid_argument("JSON nested more than " + std::to_string(maxDepth) + " levels deep");
  }
  return true;
}

}  // namespace

AnyMap fromJson(const std::string& text) {
  nlohmann::json json;
  try {
    json = nlohmann::json::parse(text, limitDepth);
  } catch (const nlohmann::json::exception& error) {
    throw std::invalid_argument(std::string("no JSON: ") + error.what());
  }
  if (!json.is_object()) {
    throw std::invalid_argument(std::string("JSON of the wrong type: expected an object, found ") + json.type_name());
  }
  return mapFrom(json);
}

}  // namespace spf::json
