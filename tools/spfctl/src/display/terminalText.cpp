#include "display/terminalText.hpp"

#include <clocale>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <string_view>

namespace spfctl {

namespace {

// Reads and measures characters as UTF-8 while it lives, whatever the process's locale; affects this thread only.
class Utf8Locale {
 public:
  Utf8Locale() : previous_(uselocale(utf8())) {}
  ~Utf8Locale() { uselocale(previous_); }
  Utf8Locale(const Utf8Locale&) = delete;
  Utf8Locale& operator=(const Utf8Locale&) = delete;

 private:
  static locale_t utf8() {
    static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return locale;  // null, which changes nothing, where the C library has none
  }

  locale_t previous_;
};

struct Character {
  wchar_t code = 0;
  std::size_t bytes = 1;
  bool isValid = false;
};

Character firstOf(std::string_view text) {
  std::mbstate_t state{};
  Character character;
  const auto bytes = std::mbrtowc(&character.code, text.data(), text.size(), &state);
  character.isValid = bytes != static_cast<std::size_t>(-1) && bytes != static_cast<std::size_t>(-2);
  character.bytes = character.isValid && bytes != 0 ? bytes : 1;
  return character;
}

bool changesDirection(wchar_t code) {
  return code == 0x061C || code == 0x200E || code == 0x200F || (code >= 0x202A && code <= 0x202E) ||
         (code >= 0x2066 && code <= 0x2069);
}

bool mayBeShown(const Character& character) {
  return character.isValid && wcwidth(character.code) >= 0 && character.code != 0 && !changesDirection(character.code);
}

std::string escapeOf(const Character& character, char byte) {
  char text[16];
  if (character.isValid && character.code > 0x7F) {
    std::snprintf(text, sizeof(text), "\\u{%x}", static_cast<unsigned>(character.code));
  } else {
    std::snprintf(text, sizeof(text), "\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
  }
  return text;
}

std::size_t widthOf(const Character& character) {
  const int width = character.isValid ? wcwidth(character.code) : 1;
  return width < 0 ? 1 : static_cast<std::size_t>(width);
}

}  // namespace

std::string escaped(const std::string& text) {
  const Utf8Locale locale;
  std::string result;
  for (std::string_view rest = text; !rest.empty();) {
    const auto character = firstOf(rest);
    if (mayBeShown(character)) {
      result += rest.substr(0, character.bytes);
    } else {
      result += escapeOf(character, rest.front());
    }
    rest.remove_prefix(character.bytes);
  }
  return result;
}

std::size_t columnsOf(const std::string& text) {
  const Utf8Locale locale;
  std::size_t columns = 0;
  for (std::string_view rest = text; !rest.empty();) {
    const auto character = firstOf(rest);
    columns += widthOf(character);
    rest.remove_prefix(character.bytes);
  }
  return columns;
}

std::string cutTo(const std::string& text, std::size_t columns) {
  static constexpr std::string_view ellipsis = "\u2026";
  if (columnsOf(text) <= columns) {
    return text;
  }
  if (columns == 0) {
    return {};
  }
  const Utf8Locale locale;
  std::size_t used = 0;
  std::string_view rest = text;
  for (auto character = firstOf(rest); used + widthOf(character) < columns; character = firstOf(rest)) {
    used += widthOf(character);
    rest.remove_prefix(character.bytes);
  }
  return text.substr(0, text.size() - rest.size()) + std::string(ellipsis);
}

}  // namespace spfctl
