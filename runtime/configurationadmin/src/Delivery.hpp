#pragma once

#include <functional>
#include <future>

namespace cppmicroservices::configurationadmin {

/// One piece of work of a DeliveryQueue with its result. Any thread may wait for the result; the queue calls the rest.
class Delivery {
 public:
  explicit Delivery(std::function<void()> work);

  /// Returns the work's future; an invalid one if the work was refused.
  const std::shared_future<void>& future() const { return future_; }
  /// Returns whether there is nothing to wait for.
  bool isDone() const;
  /// Returns the work's future.
  /// \throws std::future_error  if the work was refused
  const std::shared_future<void>& result() const;

  /// Runs the work and sets the result. What the work holds is released before that.
  void run();
  /// Sets the result without running the work.
  void drop();
  /// Leaves the work without a result. To be called before any other thread has the delivery.
  void refuse();

  // To be called on the queue's thread only:

  /// Keeps a deferred future of the result. It becomes ready only when it is waited for, which run() does at its end.
  void keepDeferred(std::shared_future<void> future);
  /// Forgets that future, because it is being waited for right now.
  void forgetDeferred();

 private:
  void completeDeferred();

  std::function<void()> work_;
  std::promise<void> promise_;
  std::shared_future<void> future_;
  std::shared_future<void> deferred_;  // used on the queue's thread only
};

}  // namespace cppmicroservices::configurationadmin
