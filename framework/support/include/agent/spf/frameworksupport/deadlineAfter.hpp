#pragma once

#include <algorithm>
#include <chrono>

namespace agent::spf::frameworksupport {

/// Returns when a wait that begins now ends: now itself for a time-out of zero or less, and a year from now for any
/// longer one. That is longer than any sensible wait, and far from an overflow of the clock.
inline std::chrono::steady_clock::time_point deadlineAfter(
    std::chrono::milliseconds timeout, std::chrono::steady_clock::time_point now = std::chrono::steady_clock::now()) {
  constexpr std::chrono::milliseconds longest = std::chrono::hours(24 * 365);
  return now + std::clamp(timeout, std::chrono::milliseconds::zero(), longest);
}

}  // namespace agent::spf::frameworksupport
