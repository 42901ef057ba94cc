#pragma once

#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>

namespace spf::controller {

/// Tells a worker that waits that it is to end. Any thread may use it.
class StopSignal {
 public:
  void request();
  bool isRequested() const;

  /// Sleeps.
  /// \return false as soon as the stop was requested
  bool pause(std::chrono::milliseconds time) const;

  /// Waits for a future.
  /// \return false as soon as the stop was requested
  bool waitFor(const std::shared_future<void>& future) const;

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;

  // Guarded by `mutex_`:
  bool requested_ = false;
};

}  // namespace spf::controller
