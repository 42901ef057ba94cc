#include "DeliveryFutures.hpp"

#include <chrono>
#include <utility>

namespace cppmicroservices::configurationadmin {

namespace {

class ReadyFuture : public ThreadpoolSafeFuture {
 public:
  void get() const override {}
  void wait() const override {}
  std::future_status wait_for(const std::uint32_t&) const override { return std::future_status::ready; }
};

}  // namespace

DeliveryFuture::DeliveryFuture(std::shared_ptr<PendingDeliveries> pending, std::shared_ptr<Delivery> delivery)
    : pending_(std::move(pending)), delivery_(std::move(delivery)) {}

void DeliveryFuture::get() const {
  wait();
  delivery_->result().get();
}

void DeliveryFuture::wait() const {
  pending_->wait(*delivery_);
}

std::future_status DeliveryFuture::wait_for(const std::uint32_t& milliseconds) const {
  return pending_->waitUntil(*delivery_, PendingDeliveries::Clock::now() + std::chrono::milliseconds(milliseconds));
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
