#include "agent/spf/frameworksupport/keyNames.hpp"

#include <algorithm>

namespace agent::spf::frameworksupport {

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

}  // namespace agent::spf::frameworksupport
