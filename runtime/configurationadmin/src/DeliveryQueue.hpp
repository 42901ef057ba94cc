#pragma once

#include <functional>
#include <future>
#include <memory>
#include <thread>

#include "cppmicroservices/ThreadpoolSafeFuture.h"

namespace cppmicroservices::configurationadmin {

/// One piece of work of a DeliveryQueue, from its being posted until it is done.
class Delivery;

/// Runs work on one thread of its own, one piece after the other, in the order of posting. Any thread may use it.
class DeliveryQueue {
 public:
  using Work = std::function<void()>;

  DeliveryQueue();
  /// As settle().
  ~DeliveryQueue();
  DeliveryQueue(const DeliveryQueue&) = delete;
  DeliveryQueue& operator=(const DeliveryQueue&) = delete;

  /// Never runs the work itself, nor waits for it. After finish() or settle() the work is dropped.
  std::shared_ptr<Delivery> post(Work work);

  /// What is ready when the work is done, and holds the exception that the work threw.
  ///
  /// One that was made on the queue's own thread, inside of other work, may be waited for right there: the
  /// wait runs the work that is pending, nested. Until it is done, a timed wait for such a future returns
  /// std::future_status::deferred at once.
  std::shared_future<void> futureOf(const std::shared_ptr<Delivery>& delivery) const;

  /// A future that the queue's own thread may wait for wherever it was made. A wait there for the very work
  /// that it is running throws std::logic_error.
  std::shared_ptr<ThreadpoolSafeFuture> safeFutureOf(const std::shared_ptr<Delivery>& delivery) const;

  /// Takes no more work, and returns when all of it is done, on the queue's own thread all but the running one.
  /// What is posted from now on has no result: its future is not valid, and asking one that is safe throws
  /// std::future_error.
  void finish();

  /// As finish(), or after it, but what is posted from now on counts as done.
  void settle();

 private:
  class State;

  void waitForTheLast();

  const std::shared_ptr<State> state_;
  std::thread thread_;
};

/// Futures for what is done already.
std::shared_future<void> readyFuture();
std::shared_ptr<ThreadpoolSafeFuture> readySafeFuture();

}  // namespace cppmicroservices::configurationadmin
