#include "agent/spf/frameworksupport/keyNames.hpp"

#include <algorithm>
#include <stdexcept>

#include "agent/spf/frameworksupport/Address.hpp"

namespace agent::spf::frameworksupport {

namespace {

constexpr std::size_t longestName = 64;

// Not by the locale, in which other bytes may be letters.
bool isAllowed(char character) {
  return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
         (character >= '0' && character <= '9') || character == '.' || character == '_' || character == '-';
}

/// Returns where the `#` before a name of a key is; `npos` if there is none. The paths of `ipc` and the names of
/// `inproc` may contain any character.
std::size_t findMark(const std::string& text) {
  const bool isTcp = text.rfind("tcp://", 0) == 0;
  return isTcp ? text.find('#') : std::string::npos;
}

}  // namespace

bool isKeyName(const std::string& text) noexcept {
  return !text.empty() && text.size() <= longestName && text.front() != '.' &&
         std::all_of(text.begin(), text.end(), isAllowed);
}

KeyedAddress splitKey(const std::string& text) {
  const auto mark = findMark(text);
  if (mark == std::string::npos) {
    return {text, ""};
  }
  KeyedAddress split{text.substr(0, mark), text.substr(mark + 1)};
  if (!isKeyName(split.key)) {
    throw std::runtime_error("malformed endpoint '" + printable(text) + "': '" + printable(split.key) +
                             "' is no name of a key; expected " + expectedKeyName);
  }
  return split;
}

void requireNoKey(const std::string& text) {
  if (findMark(text) != std::string::npos) {
    throw std::runtime_error("malformed endpoint '" + printable(text) +
                             "': a name of a key is for connections only; expected 'tcp://<host>:<port>' to bind to");
  }
}

}  // namespace agent::spf::frameworksupport
