#pragma once

#include <chrono>

namespace agent::spf::frameworksetup {

/// Returns when a wait that begins now ends: now plus the time-out, or the clock's last time point where
/// that sum would overflow, and now itself for a time-out of zero or less.
/// \param now  not before the clock's epoch
std::chrono::steady_clock::time_point deadlineAfter(std::chrono::steady_clock::time_point now,
                                                    const std::chrono::milliseconds& timeout);

}  // namespace agent::spf::frameworksetup
