#pragma once

#include <string>

namespace spf::publishers {

/// Returns whether a text is an address, which the transport judges.
inline bool isAddress(const std::string& text) {
  return text.find("://") != std::string::npos;
}

inline bool isDiscoveryName(const std::string& text) {
  constexpr auto allowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-";
  return !text.empty() && text.find_first_not_of(allowed) == std::string::npos;
}

}  // namespace spf::publishers
