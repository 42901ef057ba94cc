#include "agent/spf/security/KeyName.hpp"

#include <stdexcept>
#include <utility>

namespace agent::spf::security {

KeyName::KeyName(std::string text) : text_(std::move(text)) {
  if (!isKeyName(text_)) {
    throw std::invalid_argument("'" + text_ + "' is no name of a key; expected " + expectedKeyName);
  }
}

}  // namespace agent::spf::security
