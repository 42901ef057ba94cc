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

template <class Word = std::uint64_t>
std::uint64_t load(const char* from) {
  Word bytes;
  std::memcpy(&bytes, from, sizeof bytes);
  return bytes;
}

// Loads the last eight bytes of a text, or all of a shorter one, some of them more than once. A copy of as many bytes
// as are left would be a call.
std::uint64_t loadLast(std::string_view text) {
  const char* const begin = text.data();
  const std::size_t size = text.size();
  if (size >= 8) {
    return load(begin + size - 8);
  }
  if (size >= 4) {
    return load<std::uint32_t>(begin) | load<std::uint32_t>(begin + size - 4) << 32;
  }
  return size == 0 ? 0
                   : load<std::uint8_t>(begin) | load<std::uint8_t>(begin + size / 2) << 8 |
                         load<std::uint8_t>(begin + size - 1) << 16;
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
  for (std::size_t i = 0; i + 8 < left.size(); i += 8) {
    if (lower(load(left.data() + i)) != lower(load(right.data() + i))) {
      return false;
    }
  }
  return lower(loadLast(left)) == lower(loadLast(right));
}

std::uint64_t hashIgnoringCase(std::string_view text) {
  std::uint64_t hash = text.size();
  for (std::size_t i = 0; i + 8 < text.size(); i += 8) {
    hash = mix(hash, lower(load(text.data() + i)));
  }
  return mix(hash, lower(loadLast(text)));
}

}  // namespace cppmicroservices::ascii
