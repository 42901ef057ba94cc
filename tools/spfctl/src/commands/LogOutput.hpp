#pragma once

#include <cstdint>

namespace spfctl {

/// Writes the log records of these levels to standard error from now on, one line each; with priorities if it is the
/// journal.
void showLogRecords(std::uint32_t levels);

}  // namespace spfctl
