#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace spf::test {

/// How long a test waits for an expected event before it fails.
inline constexpr std::chrono::seconds patience{30};

/// A gate that is closed at first and is opened once. Any thread may wait for it, and may destroy it as soon as its
/// wait has ended, which is why `open` notifies under the lock.
class Gate {
 public:
  void open() {
    const std::lock_guard<std::mutex> lock(mutex_);
    open_ = true;
    opened_.notify_all();
  }

  /// Blocks until the gate is open.
  /// \return false if it was not opened within `patience`
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

/// Counts events, and lets threads wait for a number of them. May be destroyed as soon as such a wait has ended.
class Counter {
 public:
  void add() {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++count_;
    changed_.notify_all();
  }

  /// Blocks until the count has reached a number.
  /// \return false if it did not within `patience`
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
