#include "Delivery.hpp"

#include <chrono>
#include <exception>
#include <utility>

namespace cppmicroservices::configurationadmin {

Delivery::Delivery(std::function<void()> work) : work_(std::move(work)), future_(promise_.get_future()) {}

bool Delivery::isDone() const {
  return !future_.valid() || future_.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}

const std::shared_future<void>& Delivery::result() const {
  if (!future_.valid()) {
    throw std::future_error(std::future_errc::no_state);
  }
  return future_;
}

void Delivery::run() {
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
  completeDeferred();
}

void Delivery::drop() {
  work_ = nullptr;
  promise_.set_value();
}

void Delivery::refuse() {
  work_ = nullptr;
  future_ = {};
}

void Delivery::keepDeferred(std::shared_future<void> future) {
  deferred_ = std::move(future);
}

void Delivery::forgetDeferred() {
  deferred_ = {};
}

void Delivery::completeDeferred() {
  if (const auto future = std::exchange(deferred_, {}); future.valid()) {
    future.wait();
  }
}

}  // namespace cppmicroservices::configurationadmin
