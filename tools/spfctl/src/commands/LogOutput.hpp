#pragma once

#include <cstdint>

namespace spfctl {

/// Writes the log records of these levels to standard error from now on, one line each.
void showLogRecords(std::uint32_t levels);

}  // namespace spfctl
