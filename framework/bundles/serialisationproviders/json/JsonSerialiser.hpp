#pragma once

#include <string>

#include "agent/spf/frameworkinterfaces/Serialiser.hpp"

namespace spf::json {

/// Property maps as JSON objects.
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
/// Backwards, an integer becomes an `int`, a `long` when it is too large for that, and a `double`
/// when it is too large for both.
class JsonSerialiser : public agent::spf::frameworkinterfaces::Serialiser {
 public:
  std::string serialise(const cppmicroservices::AnyMap& properties) const override;
  cppmicroservices::AnyMap deserialise(const std::string& text) const override;
};

}  // namespace spf::json
