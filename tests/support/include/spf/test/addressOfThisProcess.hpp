#pragma once

#include <unistd.h>

#include <string>

namespace spf::test {

/// Returns an address of the loopback network for this process, so that its ports do not collide with those of other
/// tests that run at the same time.
inline std::string addressOfThisProcess() {
  const auto pid = static_cast<unsigned int>(getpid());
  return "127." + std::to_string(1 + ((pid >> 14) & 0x7f)) + "." + std::to_string((pid >> 7) & 0x7f) + "." +
         std::to_string(1 + (pid & 0x7f));
}

}  // namespace spf::test
