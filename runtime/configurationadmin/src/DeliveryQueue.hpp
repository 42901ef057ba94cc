#pragma once

#include <functional>
#include <future>
#include <memory>
#include <thread>

#include "cppmicroservices/ThreadpoolSafeFuture.h"

namespace cppmicroservices::configurationadmin {

class Delivery;
class PendingDeliveries;

/// Runs work on one thread of its own, one piece after the other, in the order of posting. Any thread may use it.
///
/// A queue is open, then finished, then settled, and never returns to an earlier phase. While it is open, posted work
/// is pending until the queue's thread takes it from the front, runs it and sets its result. Work that is posted to a
/// finished queue is refused: it has no result. Work that is posted to a settled queue is dropped: it counts as done.
/// Pending work runs in either phase. If work waits on the queue's thread for later work, the wait runs the pending
/// work nested, from the front up to what it waits for, so that the order of posting holds there too.
class DeliveryQueue {
 public:
  using Work = std::function<void()>;

  DeliveryQueue();
  /// Settles the queue as settle().
  ~DeliveryQueue();
  DeliveryQueue(const DeliveryQueue&) = delete;
  DeliveryQueue& operator=(const DeliveryQueue&) = delete;

  /// Appends the work, and neither runs it nor waits for it. After finish() or settle() it is refused or dropped.
  std::shared_ptr<Delivery> post(Work work);

  /// Returns a future that becomes ready when the work is done, and holds the exception that the work threw.
  ///
  /// If the call is made on the queue's own thread, inside of other work, the future may be waited for right there:
  /// the wait runs the pending work, nested. Until the work is done, a timed wait for such a future returns
  /// std::future_status::deferred at once.
  std::shared_future<void> futureOf(const std::shared_ptr<Delivery>& delivery) const;

  /// Returns a future that may be waited for on any thread, the queue's included. Waiting there for the very work
  /// that is running throws std::logic_error.
  std::shared_ptr<ThreadpoolSafeFuture> safeFutureOf(const std::shared_ptr<Delivery>& delivery) const;

  /// Refuses work from now on, and blocks until the pending work is done. On the queue's own thread, runs the pending
  /// work instead, all but the piece that is running. The future of refused work is invalid, and its safe future
  /// throws std::future_error.
  void finish();

  /// Blocks as finish(), which may have been called before, but drops work from now on.
  void settle();

 private:
  void awaitPending();

  const std::shared_ptr<PendingDeliveries> pending_;
  std::thread thread_;
};

}  // namespace cppmicroservices::configurationadmin
