#pragma once

#include <netdb.h>

namespace spf::test {

/// Returns whether the name "localhost" can be looked up, which it cannot where /etc/hosts is missing, as in a bare
/// root.
inline bool localHostIsKnown() {
  addrinfo hints{};
  hints.ai_family = AF_INET;
  addrinfo* found = nullptr;
  if (getaddrinfo("localhost", nullptr, &hints, &found) != 0) {
    return false;
  }
  freeaddrinfo(found);
  return true;
}

inline constexpr auto localHostIsUnknown = "this machine does not know the name localhost";

}  // namespace spf::test
