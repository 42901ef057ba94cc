#include "agent/host/logging_levels.hpp"

#include <atomic>

namespace agent::host::logging {

namespace {

std::atomic<std::uint32_t> mask{0};

}  // namespace

void set_enabled_levels(std::uint32_t levels) noexcept {
  mask.store(levels, std::memory_order_relaxed);
}

std::uint32_t enabled_levels() noexcept {
  return mask.load(std::memory_order_relaxed);
}

}  // namespace agent::host::logging
