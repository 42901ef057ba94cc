#pragma once

#include <memory>

namespace cppmicroservices {

class FrameworkCore;

/// The lease that all handles of one framework share: when the last of them is destroyed, the framework is stopped.
class FrameworkLease {
 public:
  explicit FrameworkLease(std::shared_ptr<FrameworkCore> framework);
  FrameworkLease(const FrameworkLease&) = delete;
  FrameworkLease& operator=(const FrameworkLease&) = delete;

  /// Stops the framework and waits for the stop without limit, except on the thread that stops the framework. Failures
  /// are swallowed, because a destructor cannot report them.
  ~FrameworkLease();

 private:
  const std::shared_ptr<FrameworkCore> framework_;
};

}  // namespace cppmicroservices
