#pragma once

#include <chrono>
#include <string>

namespace spfctl {

/// Returns a time in the form of ISO 8601 with milliseconds, in UTC, like "2026-11-22T08:15:02.123Z".
std::string utcTime(std::chrono::system_clock::time_point time);

}  // namespace spfctl
