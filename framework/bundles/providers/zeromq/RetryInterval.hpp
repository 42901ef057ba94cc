#pragma once

#include <algorithm>
#include <chrono>
#include <utility>

namespace spf::zeromq {

/// How long to wait after each failed handshake before the next try: doubled each time, up to a limit.
class RetryInterval {
 public:
  /// Returns the time to wait after one more failure.
  std::chrono::milliseconds next() { return std::exchange(next_, std::min(2 * next_, longest)); }

  /// Begins with the shortest one again.
  void reset() { next_ = first; }

 private:
  static constexpr std::chrono::milliseconds first{100};
  static constexpr std::chrono::milliseconds longest{2000};

  std::chrono::milliseconds next_ = first;
};

}  // namespace spf::zeromq
