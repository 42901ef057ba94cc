#include "values/AsciiCase.hpp"

#include <cstring>

namespace cppmicroservices::ascii {

namespace {

constexpr std::uint64_t everyByte(std::uint8_t byte) {
  return 0x0101010101010101u * byte;
}

// Folds eight bytes at once. The sums set a byte's top bit if the byte is at least 'A', or greater than 'Z'; bytes
// whose top bit was set before are no ASCII.
std::uint64_t lower(std::uint64_t bytes) {
  const std::uint64_t low = bytes & everyByte(0x7f);
  const std::uint64_t fromA = low + everyByte(0x80 - 'A');
  const std::uint64_t beyondZ = low + everyByte(0x80 - 'Z' - 1);
  const std::uint64_t isUpper = (fromA ^ beyondZ) & ~bytes & everyByte(0x80);
  return bytes | (isUpper >> 2);
}

std::uint64_t load(const char* from, std::size_t size) {
  std::uint64_t bytes = 0;
  std::memcpy(&bytes, from, size);
  return bytes;
}

std::uint64_t mix(std::uint64_t hash, std::uint64_t bytes) {
  hash = (hash ^ bytes) * 0x9e3779b97f4a7c15u;
  return hash ^ (hash >> 32);
}

}  // namespace

bool equalIgnoringCase(std::string_view left, std::string_view right) {
  if (left.size() != right.size()) {
    return false;
  }
  std::size_t i = 0;
  for (; i + 8 <= left.size(); i += 8) {
    if (lower(load(left.data() + i, 8)) != lower(load(right.data() + i, 8))) {
      return false;
    }
  }
  const std::size_t rest = left.size() - i;
  return rest == 0 || lower(load(left.data() + i, rest)) == lower(load(right.data() + i, rest));
}

std::uint64_t hashIgnoringCase(std::string_view text) {
  std::uint64_t hash = text.size();
  std::size_t i = 0;
  for (; i + 8 <= text.size(); i += 8) {
    hash = mix(hash, lower(load(text.data() + i, 8)));
  }
  if (i < text.size()) {
    hash = mix(hash, lower(load(text.data() + i, text.size() - i)));
  }
  return hash;
}

}  // namespace cppmicroservices::ascii
