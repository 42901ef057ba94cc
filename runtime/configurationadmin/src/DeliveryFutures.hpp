#pragma once

#include <cstdint>
#include <future>
#include <memory>

#include "PendingDeliveries.hpp"
#include "cppmicroservices/ThreadpoolSafeFuture.h"

namespace cppmicroservices::configurationadmin {

/// A future of a delivery that may be waited for on the queue's own thread, too.
class DeliveryFuture : public ThreadpoolSafeFuture {
 public:
  DeliveryFuture(std::shared_ptr<PendingDeliveries> pending, std::shared_ptr<Delivery> delivery);

  void get() const override;
  void wait() const override;
  std::future_status wait_for(const std::uint32_t& milliseconds) const override;

 private:
  const std::shared_ptr<PendingDeliveries> pending_;
  const std::shared_ptr<Delivery> delivery_;
};

/// Return futures of something that is done already.
std::shared_future<void> readyFuture();
std::shared_ptr<ThreadpoolSafeFuture> readySafeFuture();

}  // namespace cppmicroservices::configurationadmin
