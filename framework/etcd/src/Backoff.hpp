#pragma once

#include <chrono>
#include <random>

namespace agent::spf::etcd {

/// How long to wait before the next attempt: doubled with each failure up to a cap, and spread by chance, so that the
/// hosts that lost the same server do not all try it again at the same moment.
class Backoff {
 public:
  using Duration = std::chrono::milliseconds;

  Backoff(Duration first, Duration cap, unsigned seed);

  /// Returns the time to wait, between half of the current step and the whole of it, and doubles the step.
  Duration next();

  /// Begins with the first step again.
  void reset() noexcept { step_ = first_; }

 private:
  const Duration first_;
  const Duration cap_;
  Duration step_;
  std::mt19937 random_;
};

}  // namespace agent::spf::etcd
