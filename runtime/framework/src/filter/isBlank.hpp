#pragma once

namespace cppmicroservices {

/// Returns whether it is a character that stands between words or lines, in the C locale.
constexpr bool isBlank(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

}  // namespace cppmicroservices
