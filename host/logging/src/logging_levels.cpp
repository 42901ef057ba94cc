#include "agent/host/logging_levels.hpp"

#include <atomic>

namespace agent::host::logging {

namespace {

std::atomic<std::uint32_t> enabled{0};

}  // namespace

void set_enabled_levels(std::uint32_t mask) noexcept {
  enabled.store(mask, std::memory_order_relaxed);
}

std::uint32_t enabled_levels() noexcept {
  return enabled.load(std::memory_order_relaxed);
}

}  // namespace agent::host::logging
