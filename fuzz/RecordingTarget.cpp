#include <chrono>
#include <string>

#include "Target.hpp"
#include "events/readRecording.hpp"

// The input is the text of a recording.

namespace {

using spf::fuzz::require;
using spfctl::readRecording;
using spfctl::SourceText;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  try {
    std::string written;
    const auto lines = readRecording(SourceText("recording.jsonl", text));
    require(!lines.empty(), "a recording has a line");
    std::size_t last = 0;
    for (const auto& line : lines) {
      require(line.number > last, "lines are numbered in their order");
      last = line.number;
      written += lineOf(line.event, {}) + "\n";
    }
    const auto again = readRecording(SourceText("recording.jsonl", written));
    require(again.size() == lines.size(), "what was read can be written and read again");
  } catch (const spfctl::RecordingError& error) {
    require(std::string(error.what()).rfind("recording.jsonl", 0) == 0, "an error names the file");
  }
  return 0;
}
