#include "file/anyJson.hpp"

#include <vector>

#include <cppmicroservices/AnyMap.h>
#include <nlohmann/json.hpp>

namespace spfctl {

using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;
using nlohmann::json;

json toJson(const Any& value) {
  if (value.Empty()) {
    return nullptr;
  }
  if (const auto* const text = any_cast<std::string>(&value)) {
    return *text;
  }
  if (const auto* const whole = any_cast<int>(&value)) {
    return *whole;
  }
  if (const auto* const flag = any_cast<bool>(&value)) {
    return *flag;
  }
  if (const auto* const number = any_cast<double>(&value)) {
    return *number;
  }
  if (const auto* const list = any_cast<std::vector<Any>>(&value)) {
    auto elements = json::array();
    for (const auto& element : *list) {
      elements.push_back(toJson(element));
    }
    return elements;
  }
  if (const auto* const map = any_cast<AnyMap>(&value)) {
    auto members = json::object();
    for (const auto& [key, member] : *map) {
      members[key] = toJson(member);
    }
    return members;
  }
  return value.ToString();
}

std::string endpointText(const Any& endpoint) {
  const auto* const text = any_cast<std::string>(&endpoint);
  return text != nullptr ? *text : toJson(endpoint).dump(-1, ' ', false, json::error_handler_t::replace);
}

}  // namespace spfctl
