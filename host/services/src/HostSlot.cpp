#include "HostSlot.hpp"

#include <stdexcept>
#include <utility>

namespace agent::host::services {

HostSlot& HostSlot::instance() {
  static HostSlot& slot = *new HostSlot;
  return slot;
}

void HostSlot::claim() {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (claimed_) {
    throw std::logic_error(
        "This process has a Host already: there can be one at a time, because its framework is "
        "the process's only one");
  }
  claimed_ = true;
}

void HostSlot::publish(std::shared_ptr<HostProcess> process) {
  const std::lock_guard<std::mutex> lock(mutex_);
  current_ = std::move(process);
}

void HostSlot::release() noexcept {
  std::shared_ptr<HostProcess> last;
  const std::lock_guard<std::mutex> lock(mutex_);
  last.swap(current_);
  claimed_ = false;
}

std::shared_ptr<HostProcess> HostSlot::current() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return current_;
}

}  // namespace agent::host::services
