#include "keyText.hpp"

#include <zmq.h>

namespace agent::spf::security {

namespace {

constexpr std::string_view alphabet =
    "0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ.-:+=^!/*?&<>()[]{}@%$#";

}  // namespace

void encodeKey(const KeyBytes& key, KeyText& text) noexcept {
  zmq_z85_encode(text.data(), key.data(), key.size());
}

std::optional<std::string> whyNoKey(std::string_view text) {
  if (text.size() != keyLength) {
    return std::to_string(text.size()) + (text.size() == 1 ? " character" : " characters");
  }
  const auto wrong = text.find_first_not_of(alphabet);
  if (wrong != std::string_view::npos) {
    return "character " + std::to_string(wrong + 1) + " is none of Z85";
  }
  return std::nullopt;
}

bool decodeKey(const KeyText& text, KeyBytes& key) noexcept {
  return zmq_z85_decode(key.data(), text.data()) != nullptr;
}

}  // namespace agent::spf::security
