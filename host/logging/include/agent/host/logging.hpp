#pragma once

// Includes Boost.Log's sources; logging_levels.hpp is enough to set or read the levels.
#include <cstdint>
#include <string>
#include <utility>

#include <boost/log/keywords/channel.hpp>
#include <boost/log/sources/severity_channel_logger.hpp>
#include "agent/host/logging_levels.hpp"

namespace agent::host::logging {

/// A Boost.Log source with the attributes "Channel" (a string) and "Severity" (the level, one bit
/// of a 32-bit mask), and the process-wide mask of the levels that are written.
///
/// Any number of threads may share one logger, because the source's own lock serialises the opening of records. Callers
/// check `enabled_levels()` first, and build no message if the level's bit is clear.
template <class Char>
class basic_diagnostic_logger;

/// The logger of narrow texts.
template <>
class basic_diagnostic_logger<char>
    : public boost::log::sources::severity_channel_logger_mt<std::uint32_t, std::string> {
 public:
  /// Constructs a logger.
  /// \param channel  the value of the attribute "Channel" of every record
  explicit basic_diagnostic_logger(std::string channel)
      : boost::log::sources::severity_channel_logger_mt<std::uint32_t, std::string>(boost::log::keywords::channel =
                                                                                        std::move(channel)) {}

  /// Returns the levels that are currently written.
  std::uint32_t enabled_levels() const noexcept { return logging::enabled_levels(); }
};

}  // namespace agent::host::logging
