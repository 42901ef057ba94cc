#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <future>
#include <memory>
#include <mutex>
#include <thread>

#include "Delivery.hpp"

namespace cppmicroservices::configurationadmin {

/// The state of a DeliveryQueue: its phase and its pending deliveries. The queue shares it with its thread and with
/// the futures, which may outlive the queue. Any thread may use it; no delivery runs under the lock.
class PendingDeliveries {
 public:
  using Clock = std::chrono::steady_clock;
  using DeliveryPtr = std::shared_ptr<Delivery>;
  /// In the order in which a queue passes through them.
  enum class Phase { open, finished, settled };

  /// Appends a delivery.
  /// \return false if the queue is not open
  bool push(const DeliveryPtr& delivery);
  /// Enters a phase, unless the queue is past it.
  void enter(Phase phase);
  bool isSettled() const;

  /// Runs the deliveries on the calling thread, which becomes the queue's thread, until the queue is not open and none
  /// is left.
  void run();
  /// Blocks until the queue's thread is about to return from run().
  void awaitEnd();
  /// Returns whether the calling thread is the queue's thread.
  bool isOwnThread() const;
  /// Runs the next delivery. To be called on the queue's thread only.
  /// \return false if there was none
  bool runNext();

  /// Waits for a delivery; on the queue's thread, runs the pending ones up to it.
  /// \throws std::logic_error  if the delivery is the one that the calling thread is running
  void wait(const Delivery& delivery);
  std::future_status waitUntil(const Delivery& delivery, Clock::time_point deadline);

 private:
  DeliveryPtr awaitNext();
  DeliveryPtr takeNext();
  DeliveryPtr popFront();

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  // Guarded by `mutex_`:
  std::deque<DeliveryPtr> pending_;
  Phase phase_ = Phase::open;
  std::thread::id own_;
  bool ended_ = false;
};

}  // namespace cppmicroservices::configurationadmin
