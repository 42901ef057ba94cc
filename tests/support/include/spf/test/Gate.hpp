#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace spf::test {

/// How long a test waits for something that has to happen before it calls that a failure.
inline constexpr std::chrono::seconds patience{30};

/// A door that starts closed and is opened once. Any thread may wait for it, and may destroy it as soon
/// as its wait is over: that is why `open` notifies under the lock.
class Gate {
 public:
  void open() {
    const std::lock_guard<std::mutex> lock(mutex_);
    open_ = true;
    opened_.notify_all();
  }

  /// \return false if nobody opened the gate for as long as the tests' patience lasts
  [[nodiscard]] bool wait() {
    std::unique_lock<std::mutex> lock(mutex_);
    return opened_.wait_for(lock, patience, [this] { return open_; });
  }

  bool isOpen() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return open_;
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable opened_;

  // Guarded by `mutex_`:
  bool open_ = false;
};

/// Counts events; threads wait until there were at least so many. May be destroyed as soon as that is so.
class Counter {
 public:
  void add() {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++count_;
    changed_.notify_all();
  }

  /// \return false if the count did not get that far for as long as the tests' patience lasts
  [[nodiscard]] bool waitFor(int count) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, patience, [&] { return count_ >= count; });
  }

  int count() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return count_;
  }

 private:
  mutable std::mutex mutex_;
  std::condition_variable changed_;

  // Guarded by `mutex_`:
  int count_ = 0;
};

}  // namespace spf::test
