#include "framework/FrameworkLease.h"

#include <chrono>
#include <utility>

#include "framework/FrameworkCore.h"

namespace cppmicroservices {

FrameworkLease::FrameworkLease(std::shared_ptr<FrameworkCore> framework) : framework_(std::move(framework)) {}

FrameworkLease::~FrameworkLease() {
  try {
    framework_->lifecycle.stop();
    framework_->lifecycle.waitForStop(std::chrono::milliseconds::zero());
  } catch (...) {
    // A destructor cannot report it, and the framework is destroyed in any case.
  }
}

}  // namespace cppmicroservices
