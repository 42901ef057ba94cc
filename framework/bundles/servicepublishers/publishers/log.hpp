#pragma once

#include <string>

namespace spf::publishers {

/// Writes a warning to the host's log; nothing while its level is off. What the log's sinks throw is swallowed.
void logWarning(const std::string& text) noexcept;

}  // namespace spf::publishers
