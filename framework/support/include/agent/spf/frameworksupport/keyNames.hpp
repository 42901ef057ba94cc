#pragma once

#include <string>

namespace agent::spf::frameworksupport {

/// Returns whether a text is a name of a key: 1 to 64 letters, digits, `.`, `_` and `-`, and no `.` at the beginning.
[[nodiscard]] bool isKeyName(const std::string& text) noexcept;

/// What a name of a key is expected to be, for messages.
constexpr auto expectedKeyName = "1 to 64 letters, digits, '.', '_' and '-', and no '.' at the beginning";

}  // namespace agent::spf::frameworksupport
