#pragma once

#include <string>

namespace agent::spf::security {

/// Returns whether a text is a name of a key: 1 to 64 letters, digits, `.`, `_` and `-`, and no `.` at the beginning.
[[nodiscard]] bool isKeyName(const std::string& text) noexcept;

/// What a name of a key is expected to be, for messages.
constexpr auto expectedKeyName = "1 to 64 letters, digits, '.', '_' and '-', and no '.' at the beginning";

/// The name that the owner of a key goes by. Only of such a name the path of a file is made.
class KeyName {
 public:
  /// \throws std::invalid_argument  if the text is no name of a key
  explicit KeyName(std::string text);

  const std::string& text() const noexcept { return text_; }

 private:
  std::string text_;
};

}  // namespace agent::spf::security
