#include "base64.hpp"

#include <array>
#include <cstdint>
#include <stdexcept>

namespace agent::spf::etcd {

namespace {

constexpr auto alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t none = 0xff;
constexpr std::size_t bytesOfGroup = 3;
constexpr std::size_t digitsOfGroup = 4;
constexpr unsigned bitsOfDigit = 6;
constexpr std::uint32_t digitMask = 0x3f;
constexpr unsigned bitsOfByte = 8;

std::array<std::uint8_t, 256> valuesOfDigits() {
  std::array<std::uint8_t, 256> values{};
  values.fill(none);
  for (std::uint8_t value = 0; value <= digitMask; ++value) {
    values.at(static_cast<unsigned char>(alphabet[value])) = value;
  }
  return values;
}

[[noreturn]] void refuse() {
  throw std::runtime_error("a value that is not base64");
}

// The digits of a text without its padding.
std::size_t countDigits(const std::string& text) {
  auto digits = text.size();
  while (digits > 0 && text.size() - digits < 2 && text[digits - 1] == '=') {
    --digits;
  }
  if (text.size() % digitsOfGroup != 0) {
    refuse();
  }
  return digits;
}

}  // namespace

std::string toBase64(const std::string& bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / bytesOfGroup * digitsOfGroup);
  for (std::size_t at = 0; at < bytes.size(); at += bytesOfGroup) {
    std::uint32_t group = 0;
    for (std::size_t i = 0; i < bytesOfGroup; ++i) {
      group = group << bitsOfByte | (at + i < bytes.size() ? static_cast<unsigned char>(bytes[at + i]) : 0U);
    }
    for (std::size_t i = 0; i < digitsOfGroup; ++i) {
      const auto shift = bitsOfDigit * static_cast<unsigned>(digitsOfGroup - 1 - i);
      text += at + i <= bytes.size() ? alphabet[group >> shift & digitMask] : '=';
    }
  }
  return text;
}

std::string fromBase64(const std::string& text) {
  static const auto values = valuesOfDigits();
  const auto digits = countDigits(text);
  std::string bytes;
  bytes.reserve(text.size() / digitsOfGroup * bytesOfGroup);
  std::uint32_t buffer = 0;
  unsigned bits = 0;
  for (std::size_t at = 0; at < digits; ++at) {
    const auto value = values.at(static_cast<unsigned char>(text[at]));
    if (value == none) {
      refuse();
    }
    buffer = buffer << bitsOfDigit | value;
    bits += bitsOfDigit;
    if (bits >= bitsOfByte) {
      bits -= bitsOfByte;
      bytes += static_cast<char>(buffer >> bits & 0xffU);
    }
  }
  return bytes;
}

}  // namespace agent::spf::etcd
