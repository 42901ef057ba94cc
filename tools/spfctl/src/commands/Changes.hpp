#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace spfctl {

/// Wakes the one thread that does the work after a change on another thread: an event of the framework
/// or a signal. Synchronised by itself.
class Changes {
 public:
  void note() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      ++count_;
    }
    changed_.notify_all();
  }

  /// Returns the number of changes so far.
  unsigned long count() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return count_;
  }

  /// Blocks until there were more changes than `seen`, or until the deadline.
  void waitForMoreThan(unsigned long seen, std::chrono::steady_clock::time_point deadline) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_until(lock, deadline, [&] { return count_ > seen; });
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  unsigned long count_ = 0;
};

}  // namespace spfctl
