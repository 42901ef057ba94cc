#pragma once

#include <chrono>
#include <functional>

namespace spf::benchmarks {

/// Runs a part of a round that counts; what a pair with `measuresParts` does outside of such parts is neither timed nor
/// counted. One thread may use it. What other threads do meanwhile is timed only as far as the part waits for them.
void measured(const std::function<void()>& part);

/// Returns the time that all measured parts took since the latest call.
std::chrono::nanoseconds takeMeasuredTime();

}  // namespace spf::benchmarks
