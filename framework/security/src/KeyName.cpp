#include "agent/spf/security/KeyName.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace agent::spf::security {

namespace {

constexpr std::size_t longestName = 64;

// Not by the locale, in which other bytes may be letters.
bool isAllowed(char character) {
  return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
         (character >= '0' && character <= '9') || character == '.' || character == '_' || character == '-';
}

}  // namespace

bool isKeyName(const std::string& text) noexcept {
  return !text.empty() && text.size() <= longestName && text.front() != '.' &&
         std::all_of(text.begin(), text.end(), isAllowed);
}

KeyName::KeyName(std::string text) : text_(std::move(text)) {
  if (!isKeyName(text_)) {
    throw std::invalid_argument("'" + text_ + "' is no name of a key; expected " + expectedKeyName);
  }
}

}  // namespace agent::spf::security
