#pragma once

#include <optional>
#include <string>

#include "display/publisherLines.hpp"

namespace spfctl {

/// Returns the size of the terminal at standard output; nothing if it is none, or one that cannot be redrawn
/// (`TERM=dumb`).
std::optional<TerminalSize> terminalSize();

/// Returns whether standard output may be coloured: it is a terminal, and neither `NO_COLOR` nor `TERM=dumb` is set.
bool mayBeColoured();

/// Returns whether standard output is a pipe that nobody reads any more.
bool isOutputAbandoned();

/// Returns the current time in the form of ISO 8601 with milliseconds, in UTC.
std::string timeStamp();

}  // namespace spfctl
