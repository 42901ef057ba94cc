#include "CurveSettings.hpp"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

#include "agent/spf/frameworkinterfaces/curveProperties.hpp"
#include "agent/spf/security/KeyName.hpp"
#include "agent/spf/security/keyFiles.hpp"

namespace spf::zeromq {

using namespace agent::spf::frameworkinterfaces;
using namespace agent::spf::security;

namespace {

struct Property {
  const char* name;
  const char* expected;
};

constexpr std::array<Property, 3> properties{{{curveNameProperty, "the name of this process's key"},
                                              {curveSecretKeyProperty, "the file of this process's secret key"},
                                              {curveTrustProperty, "the folder of the keys that are trusted"}}};

[[nodiscard]] std::string nameOf(const char* property) {
  return "framework property '" + std::string(property) + "'";
}

std::string textOf(const Property& property, const cppmicroservices::Any& value) {
  const auto* text = cppmicroservices::any_cast<std::string>(&value);
  if (text == nullptr || text->empty()) {
    throw std::invalid_argument(nameOf(property.name) + ": " + (text == nullptr ? "no text" : "an empty text") +
                                "; expected " + property.expected);
  }
  return *text;
}

/// Calls a function, and names the property in its error.
template <class Function>
auto naming(const char* property, const Function& function) -> decltype(function()) {
  try {
    return function();
  } catch (const KeyFileError& error) {
    throw std::runtime_error(nameOf(property) + ": " + error.what());
  }
}

}  // namespace

std::optional<CurveSettings> readCurveSettings(const PropertyReader& property) {
  std::array<cppmicroservices::Any, properties.size()> values;
  std::transform(properties.begin(), properties.end(), values.begin(),
                 [&](const Property& which) { return property(which.name); });
  const auto isEmpty = [](const cppmicroservices::Any& value) { return value.Empty(); };
  const auto set = std::find_if_not(values.begin(), values.end(), isEmpty);
  if (set == values.end()) {
    return std::nullopt;
  }
  const auto missing = std::find_if(values.begin(), values.end(), isEmpty);
  if (missing != values.end()) {
    const auto& which = properties.at(static_cast<std::size_t>(missing - values.begin()));
    const auto& other = properties.at(static_cast<std::size_t>(set - values.begin()));
    throw std::invalid_argument(nameOf(which.name) + " is missing; expected " + which.expected + ", since '" +
                                other.name + "' is set");
  }
  CurveSettings settings{textOf(properties[0], values[0]), textOf(properties[1], values[1]),
                         textOf(properties[2], values[2])};
  if (!isKeyName(settings.name)) {
    throw std::invalid_argument(nameOf(curveNameProperty) + ": '" + settings.name + "'; expected " + expectedKeyName);
  }
  return settings;
}

std::unique_ptr<Identity> makeIdentity(const CurveSettings& settings, std::function<void(const std::string&)> warning) {
  auto key = naming(curveSecretKeyProperty, [&] { return readSecretKey(settings.secretKeyFile); });
  return naming(curveTrustProperty,
                [&] { return std::make_unique<Identity>(std::move(key), settings.trustFolder, std::move(warning)); });
}

}  // namespace spf::zeromq
