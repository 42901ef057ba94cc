#pragma once

#include <cstdint>
#include <string_view>

namespace cppmicroservices::ascii {

/// A to Z becomes a to z; every other byte, non-ASCII ones too, stays.
constexpr char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

bool equalIgnoringCase(std::string_view left, std::string_view right);

/// Equal for texts that are equal ignoring case.
std::uint64_t hashIgnoringCase(std::string_view text);

}  // namespace cppmicroservices::ascii
