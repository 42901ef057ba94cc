#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace spfctl {

/// Wakes the one thread that does the work when something has happened elsewhere: an event of the
/// framework, a signal. Guards itself.
class Changes {
 public:
  void note() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      ++count_;
    }
    changed_.notify_all();
  }

  /// How many changes there were.
  unsigned long count() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return count_;
  }

  /// Blocks until there were more than `seen`, or until the deadline.
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
