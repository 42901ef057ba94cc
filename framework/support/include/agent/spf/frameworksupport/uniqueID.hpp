#pragma once

#include <atomic>
#include <cstdint>
#include <random>
#include <string>

namespace agent::spf::frameworksupport {

/// Returns a text that no other call returns, of this process or of another: 64 random bits in hexadecimal, which are
/// drawn once, and a count.
inline std::string uniqueID() {
  static const std::string prefix = [] {
    std::random_device random;
    std::string digits;
    for (int word = 0; word < 2; ++word) {
      const std::uint32_t bits = random();
      for (int shift = 28; shift >= 0; shift -= 4) {
        digits += "0123456789abcdef"[(bits >> shift) & 0xf];
      }
    }
    return digits + '-';
  }();
  static std::atomic<std::uint64_t> count{0};
  return prefix + std::to_string(++count);
}

}  // namespace agent::spf::frameworksupport
