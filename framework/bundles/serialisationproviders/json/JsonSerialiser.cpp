#include "JsonSerialiser.hpp"

#include <stdexcept>

#include <nlohmann/json.hpp>
#include "FromJson.hpp"
#include "ToJson.hpp"

namespace spf::json {

std::string JsonSerialiser::serialise(const cppmicroservices::AnyMap& properties) const {
  const nlohmann::json json = toJson(properties);
  try {
    return json.dump();
  } catch (const nlohmann::json::exception& error) {
    throw std::invalid_argument(std::string("a text is not UTF-8: ") + error.what());
  }
}

cppmicroservices::AnyMap JsonSerialiser::deserialise(const std::string& text) const {
  return fromJson(text);
}

}  // namespace spf::json
