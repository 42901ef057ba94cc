#pragma once

#include <chrono>
#include <condition_variable>
#include <future>
#include <mutex>

namespace spf::controller {

/// Ends the waits of a worker thread. Any thread may use it.
class StopSignal {
 public:
  /// Requests the stop; it cannot be withdrawn.
  void request();

  bool isRequested() const;

  /// Blocks for a time, or until the stop is requested.
  /// \return false if the stop was requested
  bool pause(std::chrono::milliseconds time) const;

  /// Blocks until a future is ready or the stop is requested.
  /// \return false if the stop was requested
  bool waitFor(const std::shared_future<void>& future) const;

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;

  // Guarded by `mutex_`:
  bool requested_ = false;
};

}  // namespace spf::controller
