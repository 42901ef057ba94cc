#include "tracking/deadlineAfter.hpp"

#include <algorithm>

namespace agent::spf::frameworksetup {

// Compares in milliseconds: the time-out itself may be too large for the clock's unit.
std::chrono::steady_clock::time_point deadlineAfter(std::chrono::steady_clock::time_point now,
                                                    const std::chrono::milliseconds& timeout) {
  using Clock = std::chrono::steady_clock;
  const auto wait = std::max(timeout, timeout.zero());
  const auto longest = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::time_point::max() - now);
  return wait <= longest ? now + wait : Clock::time_point::max();
}

}  // namespace agent::spf::frameworksetup
