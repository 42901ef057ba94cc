#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "agent/host/logging_levels.hpp"

namespace agent::host::logging {
template <class Char>
class basic_diagnostic_logger;
}  // namespace agent::host::logging

namespace cppmicroservices {
class Any;
}  // namespace cppmicroservices

// The one place that writes log records. A message is built only when its level is enabled and the
// log takes a record for it; a value is turned into text no earlier. Sinks run on the calling thread.
// What composing or a sink throws is propagated to the caller.
namespace agent::spf::frameworksetup {

/// The host's logger, without the headers of Boost.Log, which every file with a message would need.
class DiagnosticLogger {
 public:
  DiagnosticLogger();
  ~DiagnosticLogger();
  DiagnosticLogger(const DiagnosticLogger&) = delete;
  DiagnosticLogger& operator=(const DiagnosticLogger&) = delete;

  bool isEnabled(std::uint32_t level) const noexcept {
    return (agent::host::logging::enabled_levels() & level) != 0;  // as the host's logger reads them
  }

  /// Write a record, unless the log declines it.
  void write(std::uint32_t level, const char* message);
  void write(std::uint32_t level, const char* message, const std::string& value);
  void write(std::uint32_t level, const char* message, const cppmicroservices::Any& value);

 private:
  const std::unique_ptr<agent::host::logging::basic_diagnostic_logger<char>> logger_;
};

/// Returns the library's logger, which the first call makes.
inline DiagnosticLogger& diagnosticLogger() {
  static DiagnosticLogger logger;
  return logger;
}

/// Writes a record if its level is enabled. The gate is part of the caller, so that a message whose level is off costs
/// one call, which reads the levels.
template <class... Pieces>
void logMessage(std::uint32_t level, const Pieces&... pieces) {
  if (diagnosticLogger().isEnabled(level)) {
    diagnosticLogger().write(level, pieces...);
  }
}

/// Reports progress of tracking and removal, at level 4. A value is appended to the message: a string as it is, an Any
/// by its own text.
template <class... Value>
void logProgress(const char* message, const Value&... value) {
  logMessage(4, message, value...);
}

/// Reports that an exception was swallowed, at level 512.
inline void logSwallowedException(const char* message) {
  logMessage(512, message);
}

}  // namespace agent::spf::frameworksetup
