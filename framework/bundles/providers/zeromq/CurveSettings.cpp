#include "CurveSettings.hpp"

#include <array>
#include <stdexcept>
#include <utility>

#include "agent/spf/frameworkinterfaces/curveProperties.hpp"
#include "agent/spf/frameworksupport/keysInMessages.hpp"
#include "agent/spf/security/KeyName.hpp"
#include "agent/spf/security/keyFiles.hpp"

namespace spf::zeromq {

using agent::spf::frameworkinterfaces::curveNameProperty;
using agent::spf::frameworkinterfaces::curveSecretKeyProperty;
using agent::spf::frameworkinterfaces::curveTrustProperty;
using agent::spf::frameworksupport::mayHoldKey;
using agent::spf::frameworksupport::quotedUnlessKey;
using agent::spf::security::expectedKeyName;
using agent::spf::security::isKeyName;
using agent::spf::security::readSecretKey;

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

/// Returns the path that a property is. Messages name the file, so a key in its place would be in them.
std::string pathOf(const Property& property, const cppmicroservices::Any& value) {
  auto path = textOf(property, value);
  if (mayHoldKey(path)) {
    throw std::invalid_argument(nameOf(property.name) + ": " + quotedUnlessKey(path) + "; expected " +
                                property.expected);
  }
  return path;
}

/// Calls a function, and names the property in its error, also if libzmq is to blame.
template <class Function>
auto naming(const char* property, const Function& function) -> decltype(function()) {
  try {
    return function();
  } catch (const std::exception& error) {
    throw std::runtime_error(nameOf(property) + ": " + error.what());
  }
}

}  // namespace

std::optional<CurveSettings> readCurveSettings(const PropertyReader& property) {
  std::array<cppmicroservices::Any, properties.size()> values;
  const Property* set = nullptr;
  const Property* missing = nullptr;
  for (std::size_t i = 0; i < properties.size(); ++i) {
    values[i] = property(properties[i].name);
    const Property*& first = values[i].Empty() ? missing : set;
    first = first == nullptr ? &properties[i] : first;
  }
  if (set == nullptr) {
    return std::nullopt;
  }
  if (missing != nullptr) {
    throw std::invalid_argument(nameOf(missing->name) + " is missing; expected " + missing->expected + ", since '" +
                                set->name + "' is set");
  }
  CurveSettings settings{textOf(properties[0], values[0]), pathOf(properties[1], values[1]),
                         pathOf(properties[2], values[2])};
  if (!isKeyName(settings.name)) {
    throw std::invalid_argument(nameOf(curveNameProperty) + ": " + quotedUnlessKey(settings.name) + "; expected " +
                                expectedKeyName);
  }
  return settings;
}

std::unique_ptr<Identity> makeIdentity(const CurveSettings& settings, std::function<void(const std::string&)> warning) {
  auto key = naming(curveSecretKeyProperty, [&] { return readSecretKey(settings.secretKeyFile); });
  return naming(curveTrustProperty,
                [&] { return std::make_unique<Identity>(std::move(key), settings.trustFolder, std::move(warning)); });
}

}  // namespace spf::zeromq
