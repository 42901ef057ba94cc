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

/// Runs tasks on a thread of its own, one after the other, in the order in which they were posted.
///
/// Lets callbacks of Configuration Admin and of transports return at once; state that only tasks use needs no lock.
/// Any thread may post; posting takes a lock for a short time only.
class SerialExecutor {
 public:
  SerialExecutor() : thread_(startThread([queue = queue_] { queue->run(); })) {}

  /// Stops the executor, as `stop` does.
  ~SerialExecutor() { stop(); }

  SerialExecutor(const SerialExecutor&) = delete;
  SerialExecutor& operator=(const SerialExecutor&) = delete;

  /// Adds a task. Its exceptions are swallowed, since no caller could receive them.
  /// \return false if the executor was stopped; the task is dropped then
  bool post(std::function<void()> task) { return queue_->push(std::move(task)); }

  /// Refuses further tasks and blocks until those already posted have run. May be repeated.
  ///
  /// A task may stop or destroy its own executor. Then the call returns at once, and the posted tasks run afterwards
  /// on the same thread, which ends by itself.
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
  /// The state that the thread uses. It may outlive the executor.
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
        task = nullptr;  // destroys its captures outside of the lock
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
