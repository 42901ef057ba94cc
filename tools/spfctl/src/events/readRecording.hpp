#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <vector>

#include "events/recordedEvent.hpp"
#include "file/SourceText.hpp"

namespace spfctl {

/// A recording that is not valid. The message is like "recording.jsonl:LINE: what; what was expected".
class RecordingError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// One line of a recording.
struct RecordedLine {
  std::size_t number;  ///< from 1
  std::string time;    ///< as it is written
  RecordedEvent event;
};

/// Reads a recording. Unknown keys are ignored; values of an endpoint are converted as those of a configuration file.
/// \throws RecordingError for the first line that is not valid, and if no line is a "configuration"
std::vector<RecordedLine> readRecording(const SourceText& source);

}  // namespace spfctl
