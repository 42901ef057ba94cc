#pragma once

#include <string>

namespace spf::publishers {

/// Writes a warning to the host's log if its level is enabled. Exceptions of the log's sinks are swallowed.
void logWarning(const std::string& text) noexcept;

}  // namespace spf::publishers
