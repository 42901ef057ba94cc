#pragma once

#include <string>

#include <cppmicroservices/AnyMap.h>

namespace agent::spf::frameworkinterfaces {

/// A service that converts property maps to text and back, for messages between processes.
///
/// Any thread may call it, several at once. No call blocks.
class [[gnu::visibility("default")]] Serialiser {
 public:
  virtual ~Serialiser() = default;

  /// Converts a map to text.
  /// \throws std::invalid_argument naming the key whose value cannot be represented
  virtual std::string serialise(const cppmicroservices::AnyMap& properties) const = 0;

  /// Converts text to a map. It and the maps in it ignore the case of their keys; lists are `std::vector<Any>`.
  /// \throws std::invalid_argument naming the position of the error and what was expected
  virtual cppmicroservices::AnyMap deserialise(const std::string& text) const = 0;
};

}  // namespace agent::spf::frameworkinterfaces
