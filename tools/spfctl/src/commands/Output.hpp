#pragma once

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>

#include "display/publisherLines.hpp"

namespace spfctl {

/// The streams that a command writes to: data to `out`, messages to `err`.
struct Output {
  std::ostream& out;
  std::ostream& err;

  /// Returns the current size of the terminal that `out` is; nothing if it is none that can be redrawn.
  std::function<std::optional<TerminalSize>()> terminalSize = [] { return std::nullopt; };

  /// Returns the current time as text.
  std::function<std::string()> timeStamp = [] { return std::string(); };

  bool isColoured = false;

  /// Whether `err` is a terminal, which may be the one of `out`.
  bool isErrorOnTerminal = false;

  /// Returns whether nobody reads `out` any more.
  std::function<bool()> isAbandoned = [] { return false; };
};

}  // namespace spfctl
