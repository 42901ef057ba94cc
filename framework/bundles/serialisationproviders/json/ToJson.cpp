#include "ToJson.hpp"

#include <cmath>
#include <stdexcept>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace spf::json {

using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;

namespace {

nlohmann::json mapToJson(const AnyMap& map, const std::string& path);
nlohmann::json valueToJson(const Any& value, const std::string& path);

template <class T>
bool convert(const Any& value, nlohmann::json& json) {
  const T* held = any_cast<T>(&value);
  if (held == nullptr) {
    return false;
  }
  json = *held;
  return true;
}

template <class T>
bool convertFinite(const Any& value, nlohmann::json& json) {
  const T* held = any_cast<T>(&value);
  return held != nullptr && std::isfinite(*held) && convert<T>(value, json);
}

bool convertScalar(const Any& value, nlohmann::json& json) {
  return value.Empty() || convert<std::string>(value, json) || convert<bool>(value, json) ||
         convert<int>(value, json) || convert<unsigned int>(value, json) || convert<long>(value, json) ||
         convert<unsigned long>(value, json) || convert<long long>(value, json) ||
         convert<unsigned long long>(value, json) || convert<short>(value, json) ||
         convert<unsigned short>(value, json) || convertFinite<double>(value, json) ||
         convertFinite<float>(value, json);
}

nlohmann::json listToJson(const std::vector<Any>& list, const std::string& path) {
  auto json = nlohmann::json::array();
  for (std::size_t i = 0; i < list.size(); ++i) {
    json.push_back(valueToJson(list[i], path + "[" + std::to_string(i) + "]"));
  }
  return json;
}

nlohmann::json valueToJson(const Any& value, const std::string& path) {
  if (const auto* map = any_cast<AnyMap>(&value)) {
    return mapToJson(*map, path);
  }
  if (const auto* list = any_cast<std::vector<Any>>(&value)) {
    return listToJson(*list, path);
  }
  nlohmann::json json;
  if (convertScalar(value, json) || convert<std::vector<std::string>>(value, json)) {
    return json;
  }
  throw std::invalid_argument("the value of '" + path + "' has no form in JSON: its type is " + value.Type().name());
}

nlohmann::json mapToJson(const AnyMap& map, const std::string& path) {
  auto json = nlohmann::json::object();
  for (const auto& [key, value] : map) {
    json[key] = valueToJson(value, path.empty() ? key : path + "." + key);
  }
  return json;
}

}  // namespace

nlohmann::json toJson(const AnyMap& properties) {
  return mapToJson(properties, "");
}

}  // namespace spf::json
