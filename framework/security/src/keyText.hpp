#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "agent/spf/security/PublicKey.hpp"

// Keys as text. No function copies a text to a place that is not the caller's, since it may be a secret.
namespace agent::spf::security {

/// How many characters a key has.
constexpr std::size_t keyLength = 40;

/// The characters of a key and a NUL.
using KeyText = std::array<char, keyLength + 1>;

/// Returns whether a line that begins with this character is a comment in a key file, although some keys begin so.
constexpr bool isComment(char first) {
  return first == '#';
}

/// Writes a key as Z85.
void encodeKey(const KeyBytes& key, KeyText& text) noexcept;

/// Returns why a text is no key, without any part of it; no value if it is one.
std::optional<std::string> whyNoKey(std::string_view text);

/// Reads a key.
/// \param text  with a NUL at its end
/// \return false if the text is no key
bool decodeKey(const KeyText& text, KeyBytes& key) noexcept;

}  // namespace agent::spf::security
