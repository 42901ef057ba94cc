#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <cppmicroservices/Any.h>
#include "Identity.hpp"

namespace spf::zeromq {

/// The framework properties that a transport's identity is made of.
struct CurveSettings {
  std::string name;
  std::filesystem::path secretKeyFile;
  std::filesystem::path trustFolder;
};

/// Returns the value of a framework property; empty if it is not set.
using PropertyReader = std::function<cppmicroservices::Any(const std::string&)>;

/// Reads the settings; nothing if none of the properties is set.
/// \throws std::invalid_argument naming the property that is missing or wrong, and what was expected
std::optional<CurveSettings> readCurveSettings(const PropertyReader& property);

/// Reads the secret key and the folder of trusted keys.
/// \param warning  as for the identity
/// \throws std::runtime_error naming the property, the file and what was expected
std::unique_ptr<Identity> makeIdentity(const CurveSettings& settings, std::function<void(const std::string&)> warning);

}  // namespace spf::zeromq
