#pragma once

// Pulls in Boost.Log's sources; whoever only sets or reads the levels includes logging_levels.hpp.
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
/// Opening records is serialised by the source's own lock, so any number of threads may share one
/// logger. Whoever writes a message asks `enabled_levels()` first and builds nothing when the
/// level's bit is clear.
template <class Char>
class basic_diagnostic_logger;

template <>
class basic_diagnostic_logger<char>
    : public boost::log::sources::severity_channel_logger_mt<std::uint32_t, std::string> {
 public:
  /// \param channel  value of the attribute "Channel" of every record
  explicit basic_diagnostic_logger(std::string channel)
      : boost::log::sources::severity_channel_logger_mt<std::uint32_t, std::string>(boost::log::keywords::channel =
                                                                                        std::move(channel)) {}

  /// The levels that are written now, read afresh each time.
  std::uint32_t enabled_levels() const noexcept { return logging::enabled_levels(); }
};

}  // namespace agent::host::logging
