#include "agent/spf/frameworksupport/keysInMessages.hpp"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "agent/spf/frameworksupport/Address.hpp"

namespace agent::spf::frameworksupport {

namespace {

namespace fs = std::filesystem;

constexpr std::ptrdiff_t lengthOfKey = 40;
constexpr std::string_view lineBreaks = "\r\n";
constexpr std::string_view charactersOfKeys =
    "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ.-:+=^!/*?&<>()[]{}@%$#";

bool isThere(const fs::path& path) {
  std::error_code ignored;
  return fs::exists(path, ignored);
}

bool isOfKeys(char character) {
  return charactersOfKeys.find(character) != std::string_view::npos;
}

bool isAsLongAsKey(const std::string& text) {
  for (auto begin = text.begin(); begin != text.end();) {
    const auto end = std::find_if_not(begin, text.end(), isOfKeys);
    if (end - begin >= lengthOfKey) {
      return true;
    }
    begin = std::find_if(end, text.end(), isOfKeys);
  }
  return false;
}

// A slash is a character of Z85, so most long paths look like a key; but no part of a key is a folder that exists.
std::string unknownPartOf(const fs::path& path) {
  const auto folder = path.parent_path();
  return path.is_absolute() && folder.has_relative_path() && isThere(folder) ? path.filename().native() : path.native();
}

}  // namespace

bool mayHoldKey(const std::string& text) {
  if (isThere(text)) {
    return false;
  }
  return text.find_first_of(lineBreaks) != std::string::npos || isAsLongAsKey(unknownPartOf(text));
}

std::string quotedUnlessKey(const std::string& text) {
  return mayHoldKey(text) ? "a text that may be a key" : "'" + printable(text) + "'";
}

}  // namespace agent::spf::frameworksupport
