#pragma once

#include <string>

#include <cppmicroservices/AnyMap.h>

namespace agent::spf::frameworkinterfaces {

/// A service that turns property maps into text and back, for messages between processes.
///
/// Any thread may call it, several at once. Nothing blocks.
class [[gnu::visibility("default")]] Serialiser {
 public:
  virtual ~Serialiser() = default;

  /// \throws std::invalid_argument naming the key whose value has no form in the text
  virtual std::string serialise(const cppmicroservices::AnyMap& properties) const = 0;

  /// \return maps that ignore the case of their keys, lists as `std::vector<Any>`
  /// \throws std::invalid_argument saying where the text is wrong and what was expected
  virtual cppmicroservices::AnyMap deserialise(const std::string& text) const = 0;
};

}  // namespace agent::spf::frameworkinterfaces
