#pragma once

#include <string>

namespace agent::spf::frameworksupport {

/// Returns whether a text is a name of a key: 1 to 64 letters, digits, `.`, `_` and `-`, and no `.` at the beginning.
[[nodiscard]] bool isKeyName(const std::string& text) noexcept;

/// What a name of a key is expected to be, for messages.
constexpr auto expectedKeyName = "1 to 64 letters, digits, '.', '_' and '-', and no '.' at the beginning";

/// An address and the name of the key that its peer has to prove.
struct KeyedAddress {
  std::string address;  ///< without the name
  std::string key;      ///< empty for none
};

/// Splits an address to connect to: `tcp://<where>#<name>` has the name of a key, addresses of other schemes and texts
/// without `#` are left as they are. Nothing else is judged.
/// \throws std::runtime_error naming the text and what was expected if there is no name of a key behind the `#`
KeyedAddress splitKey(const std::string& text);

/// Checks that an address to bind to has no name of a key, which only connections have. Nothing else is judged.
/// \throws std::runtime_error naming the text and what was expected
void requireNoKey(const std::string& text);

}  // namespace agent::spf::frameworksupport
