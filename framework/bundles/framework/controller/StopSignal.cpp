#include "StopSignal.hpp"

#include "agent/spf/frameworksupport/deadlineAfter.hpp"

namespace spf::controller {

using agent::spf::frameworksupport::deadlineAfter;

namespace {

/// The interval at which a wait for a future checks for a stop: one cannot wait for a future and a condition together.
constexpr std::chrono::milliseconds slice{20};

}  // namespace

void StopSignal::request() {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    requested_ = true;
  }
  changed_.notify_all();
}

bool StopSignal::isRequested() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return requested_;
}

bool StopSignal::pause(std::chrono::milliseconds time) const {
  const auto deadline = deadlineAfter(time);
  std::unique_lock<std::mutex> lock(mutex_);
  return !changed_.wait_until(lock, deadline, [this] { return requested_; });
}

bool StopSignal::waitFor(const std::shared_future<void>& future) const {
  while (future.wait_for(slice) != std::future_status::ready) {
    if (isRequested()) {
      return false;
    }
  }
  return true;
}

}  // namespace spf::controller
