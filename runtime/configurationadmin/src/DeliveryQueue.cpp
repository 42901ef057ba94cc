#include "DeliveryQueue.hpp"

#include <utility>

#include "Delivery.hpp"
#include "DeliveryFutures.hpp"
#include "PendingDeliveries.hpp"

namespace cppmicroservices::configurationadmin {

DeliveryQueue::DeliveryQueue()
    : pending_(std::make_shared<PendingDeliveries>()), thread_([pending = pending_] { pending->run(); }) {}

DeliveryQueue::~DeliveryQueue() {
  settle();
  if (pending_->isOwnThread()) {
    thread_.detach();  // it ends when the work that is running returns
  } else {
    thread_.join();
  }
}

std::shared_ptr<Delivery> DeliveryQueue::post(Work work) {
  auto delivery = std::make_shared<Delivery>(std::move(work));
  if (!pending_->push(delivery)) {
    if (pending_->isSettled()) {
      delivery->drop();
    } else {
      delivery->refuse();
    }
  }
  return delivery;
}

std::shared_future<void> DeliveryQueue::futureOf(const std::shared_ptr<Delivery>& delivery) const {
  if (!pending_->isOwnThread() || delivery->isDone()) {
    return delivery->future();
  }
  // A deferred function is the only thing that a plain std::future runs on the thread that waits for it.
  const auto waitHere = [pending = pending_, delivery] {
    if (pending->isOwnThread()) {
      delivery->forgetDeferred();
    }
    pending->wait(*delivery);
    delivery->result().get();
  };
  auto future = std::async(std::launch::deferred, waitHere).share();
  delivery->keepDeferred(future);
  return future;
}

std::shared_ptr<ThreadpoolSafeFuture> DeliveryQueue::safeFutureOf(const std::shared_ptr<Delivery>& delivery) const {
  return std::make_shared<DeliveryFuture>(pending_, delivery);
}

void DeliveryQueue::finish() {
  pending_->enter(PendingDeliveries::Phase::finished);
  awaitPending();
}

void DeliveryQueue::settle() {
  pending_->enter(PendingDeliveries::Phase::settled);
  awaitPending();
}

void DeliveryQueue::awaitPending() {
  if (pending_->isOwnThread()) {
    while (pending_->runNext()) {
    }
  } else {
    pending_->awaitEnd();
  }
}

}  // namespace cppmicroservices::configurationadmin
