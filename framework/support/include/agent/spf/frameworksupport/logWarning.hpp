#pragma once

#include <string>

namespace agent::spf::frameworksupport {

/// Writes a warning to the host's diagnostic log, if the host wants warnings. Any thread may call it; it blocks as the
/// log's sinks do.
/// \param channel  the logger's, for example "spf::publishers"
/// \param text     the message
void logWarning(const char* channel, const std::string& text) noexcept;

}  // namespace agent::spf::frameworksupport
