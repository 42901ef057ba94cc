#pragma once

#include <cstdint>

namespace agent::host::logging {

/// Sets which levels are written, for every channel of the process: a message of level L (one bit)
/// is built only while `mask` has that bit. Nothing is enabled at first.
/// Any thread may call it at any time; loggers see it with their next message.
[[gnu::visibility("default")]] void set_enabled_levels(std::uint32_t mask) noexcept;

/// The mask in force: one relaxed load.
[[gnu::visibility("default")]] std::uint32_t enabled_levels() noexcept;

}  // namespace agent::host::logging
