#pragma once

#include <cstddef>
#include <iosfwd>
#include <map>
#include <string>
#include <vector>

#include "display/PublisherState.hpp"

namespace spfctl {

/// Returns what is outstanding, as one line without the publisher's name.
std::string describe(const PublisherState& state);

/// Shows the state of the publishers: on a terminal one block that is redrawn at each change,
/// elsewhere one line per change.
class ProgressDisplay {
 public:
  /// \param columns  width of the terminal; 0 for a stream that is not a terminal
  ProgressDisplay(std::ostream& stream, std::size_t columns);

  void show(const std::vector<PublisherState>& states);

 private:
  void redraw(const std::vector<std::string>& lines);

  std::ostream& stream_;
  const std::size_t columns_;
  std::map<std::string, std::string> shown_;
  std::size_t drawnLines_ = 0;
};

}  // namespace spfctl
