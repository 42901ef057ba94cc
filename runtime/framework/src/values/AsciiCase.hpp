#pragma once

#include <cstdint>
#include <string_view>

namespace cppmicroservices::ascii {

/// Converts A to Z to a to z; leaves all other bytes unchanged, non-ASCII ones too.
constexpr char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

bool equalIgnoringCase(std::string_view left, std::string_view right);

/// Returns a hash that is the same for texts that differ only in case.
std::uint64_t hashIgnoringCase(std::string_view text);

}  // namespace cppmicroservices::ascii
