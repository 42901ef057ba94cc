#include "DeliveryQueue.hpp"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace cppmicroservices::configurationadmin {

using Clock = std::chrono::steady_clock;

class Delivery {
 public:
  explicit Delivery(DeliveryQueue::Work work) : work_(std::move(work)), future_(promise_.get_future()) {}

  /// Not valid if it was refused.
  const std::shared_future<void>& future() const { return future_; }
  /// Nothing has to be waited for.
  bool isDone() const {
    return !future_.valid() || future_.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
  }

  /// \throws std::future_error  if it was refused
  const std::shared_future<void>& result() const {
    if (!future_.valid()) {
      throw std::future_error(std::future_errc::no_state);
    }
    return future_;
  }

  /// What the work holds is released before anybody learns that it is done.
  void run() {
    std::exception_ptr failure;
    try {
      std::exchange(work_, nullptr)();
    } catch (...) {
      failure = std::current_exception();
    }
    if (failure) {
      promise_.set_exception(failure);
    } else {
      promise_.set_value();
    }
    settle();
  }

  /// Done without being run.
  void drop() {
    work_ = nullptr;
    promise_.set_value();
  }

  /// Neither run nor done. To be called before anybody else knows of it.
  void refuse() {
    work_ = nullptr;
    future_ = {};
  }

  // On the queue's thread only:

  /// Takes a future that needs to be asked in order to become ready, which is done after the work.
  void settleAfterwards(std::shared_future<void> future) { unsettled_ = std::move(future); }
  /// That future is being asked right now.
  void leaveUnsettled() { unsettled_ = {}; }

 private:
  void settle() {
    if (const auto future = std::exchange(unsettled_, {}); future.valid()) {
      future.wait();
    }
  }

  DeliveryQueue::Work work_;
  std::promise<void> promise_;
  std::shared_future<void> future_;
  // Only touched on the queue's thread.
  std::shared_future<void> unsettled_;
};

/// What the queue shares with its thread and with the futures, which may outlive it.
class DeliveryQueue::State {
 public:
  enum class Phase { open, finished, settled };

  bool push(const std::shared_ptr<Delivery>& delivery) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (phase_ != Phase::open) {
        return false;
      }
      pending_.push_back(delivery);
    }
    changed_.notify_one();
    return true;
  }

  void close(Phase phase) {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      phase_ = std::max(phase_, phase);
    }
    changed_.notify_all();
  }

  bool isSettled() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return phase_ == Phase::settled;
  }

  /// The body of the queue's thread.
  void run() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      own_ = std::this_thread::get_id();
    }
    while (const auto next = waitForNext()) {
      next->run();
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    ended_ = true;
    changed_.notify_all();
  }

  /// Returns when the queue's thread is about to return from run().
  void waitForEnd() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return ended_; });
  }

  bool isOwnThread() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return own_ == std::this_thread::get_id();
  }

  /// To be called on the queue's own thread only. \return false if there was nothing to run
  bool runNext() {
    const auto next = takeNext();
    if (next) {
      next->run();
    }
    return next != nullptr;
  }

  void wait(const Delivery& delivery) {
    if (isOwnThread()) {
      while (!delivery.isDone()) {
        if (!runNext()) {
          throw std::logic_error(
              "A notification of the Configuration Admin waits for itself: the future belongs to the "
              "notification that is running");
        }
      }
    }
    delivery.result().wait();
  }

  std::future_status waitUntil(const Delivery& delivery, Clock::time_point deadline) {
    if (isOwnThread()) {
      while (!delivery.isDone() && Clock::now() < deadline && runNext()) {
      }
      return delivery.result().wait_for(std::chrono::seconds(0));
    }
    return delivery.result().wait_until(deadline);
  }

 private:
  std::shared_ptr<Delivery> waitForNext() {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait(lock, [this] { return phase_ != Phase::open || !pending_.empty(); });
    return popFront();
  }

  std::shared_ptr<Delivery> takeNext() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return popFront();
  }

  std::shared_ptr<Delivery> popFront() {
    if (pending_.empty()) {
      return nullptr;
    }
    auto next = std::move(pending_.front());
    pending_.pop_front();
    return next;
  }

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  // Guarded by mutex_:
  std::deque<std::shared_ptr<Delivery>> pending_;
  Phase phase_ = Phase::open;
  std::thread::id own_;
  bool ended_ = false;
};

namespace {

/// A future that knows how to wait on the queue's own thread.
template <class State>
class QueueFuture : public ThreadpoolSafeFuture {
 public:
  QueueFuture(std::shared_ptr<State> state, std::shared_ptr<Delivery> delivery)
      : state_(std::move(state)), delivery_(std::move(delivery)) {}

  void get() const override {
    wait();
    delivery_->result().get();
  }

  void wait() const override { state_->wait(*delivery_); }

  std::future_status wait_for(const std::uint32_t& milliseconds) const override {
    return state_->waitUntil(*delivery_, Clock::now() + std::chrono::milliseconds(milliseconds));
  }

 private:
  const std::shared_ptr<State> state_;
  const std::shared_ptr<Delivery> delivery_;
};

class ReadyFuture : public ThreadpoolSafeFuture {
 public:
  void get() const override {}
  void wait() const override {}
  std::future_status wait_for(const std::uint32_t&) const override { return std::future_status::ready; }
};

}  // namespace

DeliveryQueue::DeliveryQueue() : state_(std::make_shared<State>()), thread_([state = state_] { state->run(); }) {}

DeliveryQueue::~DeliveryQueue() {
  settle();
  if (state_->isOwnThread()) {
    thread_.detach();  // it ends when the work that is running returns
  } else {
    thread_.join();
  }
}

std::shared_ptr<Delivery> DeliveryQueue::post(Work work) {
  auto delivery = std::make_shared<Delivery>(std::move(work));
  if (!state_->push(delivery)) {
    if (state_->isSettled()) {
      delivery->drop();
    } else {
      delivery->refuse();
    }
  }
  return delivery;
}

std::shared_future<void> DeliveryQueue::futureOf(const std::shared_ptr<Delivery>& delivery) const {
  if (!state_->isOwnThread() || delivery->isDone()) {
    return delivery->future();
  }
  // A deferred function is the only thing that a plain std::future runs on the thread that waits for it.
  const auto ask = [state = state_, delivery] {
    if (state->isOwnThread()) {
      delivery->leaveUnsettled();
    }
    state->wait(*delivery);
    delivery->result().get();
  };
  auto future = std::async(std::launch::deferred, ask).share();
  delivery->settleAfterwards(future);
  return future;
}

std::shared_ptr<ThreadpoolSafeFuture> DeliveryQueue::safeFutureOf(const std::shared_ptr<Delivery>& delivery) const {
  return std::make_shared<QueueFuture<State>>(state_, delivery);
}

void DeliveryQueue::finish() {
  state_->close(State::Phase::finished);
  waitForTheLast();
}

void DeliveryQueue::settle() {
  state_->close(State::Phase::settled);
  waitForTheLast();
}

void DeliveryQueue::waitForTheLast() {
  if (state_->isOwnThread()) {
    while (state_->runNext()) {
    }
  } else {
    state_->waitForEnd();
  }
}

std::shared_future<void> readyFuture() {
  std::promise<void> promise;
  promise.set_value();
  return promise.get_future().share();
}

std::shared_ptr<ThreadpoolSafeFuture> readySafeFuture() {
  return std::make_shared<ReadyFuture>();
}

}  // namespace cppmicroservices::configurationadmin
