#include "PendingDeliveries.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace cppmicroservices::configurationadmin {

bool PendingDeliveries::push(const DeliveryPtr& delivery) {
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

void PendingDeliveries::enter(Phase phase) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    phase_ = std::max(phase_, phase);
  }
  changed_.notify_all();
}

bool PendingDeliveries::isSettled() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return phase_ == Phase::settled;
}

void PendingDeliveries::run() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    own_ = std::this_thread::get_id();
  }
  while (const auto next = awaitNext()) {
    next->run();
  }
  const std::lock_guard<std::mutex> lock(mutex_);
  ended_ = true;
  changed_.notify_all();
}

void PendingDeliveries::awaitEnd() {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [this] { return ended_; });
}

bool PendingDeliveries::isOwnThread() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return own_ == std::this_thread::get_id();
}

bool PendingDeliveries::runNext() {
  const auto next = takeNext();
  if (next) {
    next->run();
  }
  return next != nullptr;
}

void PendingDeliveries::wait(const Delivery& delivery) {
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

std::future_status PendingDeliveries::waitUntil(const Delivery& delivery, Clock::time_point deadline) {
  if (isOwnThread()) {
    while (!delivery.isDone() && Clock::now() < deadline && runNext()) {
    }
    return delivery.result().wait_for(std::chrono::seconds(0));
  }
  return delivery.result().wait_until(deadline);
}

PendingDeliveries::DeliveryPtr PendingDeliveries::awaitNext() {
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [this] { return phase_ != Phase::open || !pending_.empty(); });
  return popFront();
}

PendingDeliveries::DeliveryPtr PendingDeliveries::takeNext() {
  const std::lock_guard<std::mutex> lock(mutex_);
  return popFront();
}

/// To be called with `mutex_` locked.
PendingDeliveries::DeliveryPtr PendingDeliveries::popFront() {
  if (pending_.empty()) {
    return nullptr;
  }
  auto next = std::move(pending_.front());
  pending_.pop_front();
  return next;
}

}  // namespace cppmicroservices::configurationadmin
