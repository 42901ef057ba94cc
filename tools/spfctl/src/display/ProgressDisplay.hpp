#pragma once

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "display/publisherLines.hpp"

namespace spfctl {

/// Where and how progress is shown.
struct DisplayOptions {
  /// Returns the terminal's current size; nothing if lines are to be written instead of a block that is redrawn.
  std::function<std::optional<TerminalSize>()> terminalSize;

  /// Returns the current time as text, for lines.
  std::function<std::string()> timeStamp;

  bool isColoured = false;
  bool isQuiet = false;  ///< nothing is shown
};

/// Shows the state of the publishers: on a terminal one block that is redrawn at each change, elsewhere one line per
/// change, with a time stamp.
class ProgressDisplay {
 public:
  ProgressDisplay(std::ostream& stream, DisplayOptions options);

  void show(const std::vector<PublisherState>& states, const Moment& moment);

  /// Removes what is drawn, so that something else can be written in its place.
  void erase();

  /// Leaves what is drawn where it is: something else was written below it.
  void startNewBlock();

 private:
  void eraseDrawn(TerminalSize size);
  void redraw(std::vector<DisplayLine> lines, TerminalSize size);
  void writeChanges(const PublisherState& state);
  void writeRefusals(const PublisherState& state);
  void writeLine(const std::string& text);
  std::size_t drawnRows(std::size_t columns) const;

  std::ostream& stream_;
  const DisplayOptions options_;
  std::map<std::string, std::string> shown_;  // by publisher, and by publisher and endpoint

  // The reasons for refusals that were written, by publisher and endpoint.
  std::map<std::pair<std::string, std::string>, std::set<std::string>> refusals_;

  std::vector<DisplayLine> drawn_;
  std::size_t drawnColumns_ = 0;
};

}  // namespace spfctl
