#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "display/PublisherState.hpp"
#include "events/ReplayedConfiguration.hpp"
#include "events/readRecording.hpp"

namespace spfctl {

/// What a replay found.
struct ReplayReport {
  struct IgnoredEvent {
    const RecordedLine* line;
    NoEffect reason;
    std::uint32_t revision;  ///< the configuration's at that moment
  };
  struct Drop {
    std::size_t line;
    std::uint64_t count;
  };

  std::string recording;  ///< the file's name
  std::string configurationID;
  std::uint32_t revision = 0;
  std::vector<PublisherState> publishers;  ///< where they end
  std::size_t events = 0;
  std::vector<IgnoredEvent> ignored;  ///< the events without effect, in their order
  std::vector<Drop> drops;

  /// Returns how many events the recording lacks.
  std::uint64_t dropped() const;
};

/// Writes a report for people.
void print(std::ostream& stream, const ReplayReport& report);

/// Returns a report as JSON.
std::string asJson(const ReplayReport& report);

}  // namespace spfctl
