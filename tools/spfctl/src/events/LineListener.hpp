#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <utility>

namespace spfctl {

/// A function that any thread may call, and that is called no more after a certain point. Calling it needs no memory.
class LineListener {
 public:
  explicit LineListener(std::function<void()> function) : function_(std::move(function)) {}
  LineListener(const LineListener&) = delete;
  LineListener& operator=(const LineListener&) = delete;

  /// Calls the function, unless it was stopped, with no lock held. What it throws is dropped.
  void call() noexcept {
    if (begin()) {
      const Frame frame{this, innermost()};
      innermost() = &frame;
      try {
        function_();
      } catch (...) {
        // The event's sender could do nothing about it.
      }
      innermost() = frame.outer;
      end();
    }
  }

  /// Lets no further call begin, and blocks until calls on other threads have returned. May be called inside the
  /// function.
  void stop() {
    std::unique_lock<std::mutex> lock(mutex_);
    isStopped_ = true;
    callReturned_.wait(lock, [this, own = callsOfThisThread()] { return calls_ == own; });
  }

 private:
  // A call under way on this thread, and the one that it was made in.
  struct Frame {
    const LineListener* listener;
    const Frame* outer;
  };

  static const Frame*& innermost() {
    thread_local const Frame* frame = nullptr;
    return frame;
  }

  unsigned callsOfThisThread() const {
    unsigned count = 0;
    for (const auto* frame = innermost(); frame != nullptr; frame = frame->outer) {
      count += frame->listener == this ? 1 : 0;
    }
    return count;
  }

  bool begin() {
    const std::lock_guard<std::mutex> lock(mutex_);
    calls_ += isStopped_ ? 0 : 1;
    return !isStopped_;
  }

  // Notifies under the lock: the waiting thread may destroy this object at once.
  void end() {
    const std::lock_guard<std::mutex> lock(mutex_);
    --calls_;
    callReturned_.notify_all();
  }

  // Constant after construction:
  const std::function<void()> function_;

  std::mutex mutex_;
  std::condition_variable callReturned_;

  // Guarded by `mutex_`:
  bool isStopped_ = false;
  unsigned calls_ = 0;  // under way
};

}  // namespace spfctl
