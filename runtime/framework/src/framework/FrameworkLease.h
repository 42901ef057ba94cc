#pragma once

#include <memory>

namespace cppmicroservices {

class FrameworkCore;

/// What all handles of one framework share: when the last of them is gone, the framework is stopped.
class FrameworkLease {
 public:
  explicit FrameworkLease(std::shared_ptr<FrameworkCore> framework);
  FrameworkLease(const FrameworkLease&) = delete;
  FrameworkLease& operator=(const FrameworkLease&) = delete;

  /// Stops the framework and waits for that, as long as the bundles take; does not wait on the thread that
  /// stops the framework. Failures are lost, there is nobody to tell.
  ~FrameworkLease();

 private:
  const std::shared_ptr<FrameworkCore> framework_;
};

}  // namespace cppmicroservices
