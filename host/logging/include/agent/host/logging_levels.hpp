#pragma once

#include <cstdint>

namespace agent::host::logging {

/// Sets the levels that are written, for every channel of the process: a message of level L (one bit) is built only
/// while `mask` has that bit. Initially no level is enabled. Any thread may call it at any time; it takes effect with
/// the next message of each logger.
[[gnu::visibility("default")]] void set_enabled_levels(std::uint32_t mask) noexcept;

/// Returns the current mask, by one relaxed load.
[[gnu::visibility("default")]] std::uint32_t enabled_levels() noexcept;

}  // namespace agent::host::logging
