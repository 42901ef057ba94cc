#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <utility>

#include "agent/spf/frameworksupport/startThread.hpp"

namespace agent::spf::frameworksupport {

/// A thread that runs tasks one after the other, in the order they were posted.
///
/// Bundles hand their work to one: callbacks of Configuration Admin and of transports return at
/// once, and what a task uses needs no lock. Any thread may post; posting never blocks for long.
class SerialExecutor {
 public:
  SerialExecutor() : thread_(startThread([queue = queue_] { queue->run(); })) {}

  /// Stops.
  ~SerialExecutor() { stop(); }

  SerialExecutor(const SerialExecutor&) = delete;
  SerialExecutor& operator=(const SerialExecutor&) = delete;

  /// Adds a task. What it throws is swallowed: there is nobody to hear it.
  /// \return false once the executor was stopped; the task is dropped then
  bool post(std::function<void()> task) { return queue_->push(std::move(task)); }

  /// Accepts no more tasks, runs those that were posted and waits for them. May be repeated.
  ///
  /// A task may stop its executor, and destroy it: that does not wait. The tasks that were posted
  /// follow on the same thread, which ends by itself.
  void stop() {
    queue_->refuse();
    if (!thread_.joinable()) {
      return;
    }
    if (thread_.get_id() == std::this_thread::get_id()) {
      thread_.detach();
    } else {
      thread_.join();
    }
  }

 private:
  /// What the thread uses; it may outlive the executor.
  class Queue {
   public:
    bool push(std::function<void()> task) {
      {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (stopping_) {
          return false;
        }
        tasks_.push_back(std::move(task));
      }
      changed_.notify_all();
      return true;
    }

    void refuse() {
      {
        const std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
      }
      changed_.notify_all();
    }

    void run() {
      std::unique_lock<std::mutex> lock(mutex_);
      for (;;) {
        changed_.wait(lock, [this] { return stopping_ || !tasks_.empty(); });
        if (tasks_.empty()) {
          return;
        }
        auto task = std::move(tasks_.front());
        tasks_.pop_front();
        lock.unlock();
        runSwallowing(task);
        task = nullptr;  // what it holds is released outside of the lock
        lock.lock();
      }
    }

   private:
    static void runSwallowing(const std::function<void()>& task) noexcept {
      try {
        task();
      } catch (...) {
      }
    }

    std::mutex mutex_;
    std::condition_variable changed_;

    // Guarded by `mutex_`:
    std::deque<std::function<void()>> tasks_;
    bool stopping_ = false;
  };

  // Constant after construction:
  const std::shared_ptr<Queue> queue_ = std::make_shared<Queue>();

  // Used by the owner only:
  std::thread thread_;
};

}  // namespace agent::spf::frameworksupport
