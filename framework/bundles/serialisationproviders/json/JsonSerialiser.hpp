#pragma once

#include <string>

#include "agent/spf/frameworkinterfaces/Serialiser.hpp"

namespace spf::json {

/// Converts property maps to JSON objects and back.
///
/// | held type | JSON |
/// |---|---|
/// | nothing | null |
/// | `bool` | true, false |
/// | `int` and the other integer types, `float`, `double` | number |
/// | `std::string` | string in UTF-8 |
/// | `std::vector<Any>`, `std::vector<std::string>` | array |
/// | `AnyMap` | object |
///
/// From JSON, an integer becomes an `int`, a `long` if it is too large for `int`, and a `double` if it is too large for
/// both.
class JsonSerialiser : public agent::spf::frameworkinterfaces::Serialiser {
 public:
  std::string serialise(const cppmicroservices::AnyMap& properties) const override;
  cppmicroservices::AnyMap deserialise(const std::string& text) const override;
};

}  // namespace spf::json
