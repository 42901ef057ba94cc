#pragma once

#include <algorithm>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace agent::spf::frameworkwatch {

/// A function that any thread may call, and that is called no more after a certain point.
class StoppableCallback {
 public:
  /// \param function  may be empty
  explicit StoppableCallback(std::function<void()> function) : function_(std::move(function)) {}

  /// Calls the function, unless it was stopped, with no lock held. Propagates its exceptions.
  void call() {
    if (function_ && begin()) {
      const End end{*this};
      function_();
    }
  }

  /// Lets no further call begin, and blocks until calls on other threads have returned. May be called inside the
  /// function.
  void stop() {
    std::unique_lock<std::mutex> lock(mutex_);
    stopped_ = true;
    callReturned_.wait(lock, [this, self = std::this_thread::get_id()] {
      return std::all_of(callers_.begin(), callers_.end(), [self](std::thread::id caller) { return caller == self; });
    });
  }

 private:
  struct End {
    StoppableCallback& callback;
    explicit End(StoppableCallback& owner) : callback(owner) {}
    ~End() { callback.end(); }
    End(const End&) = delete;
    End& operator=(const End&) = delete;
  };

  bool begin() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!stopped_) {
      callers_.push_back(std::this_thread::get_id());
    }
    return !stopped_;
  }

  void end() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      callers_.erase(std::find(callers_.begin(), callers_.end(), std::this_thread::get_id()));
    }
    callReturned_.notify_all();
  }

  // Constant after construction.
  const std::function<void()> function_;

  std::mutex mutex_;
  std::condition_variable callReturned_;

  // Guarded by `mutex_`:
  bool stopped_ = false;
  std::vector<std::thread::id> callers_;  // one for each call under way
};

}  // namespace agent::spf::frameworkwatch
