#pragma once

#include <string>

namespace cppmicroservices {
class Any;
}  // namespace cppmicroservices

// The one place that writes log records. A message is built only when its level is enabled and the
// log takes a record for it; a value is turned into text no earlier. Sinks run on the calling thread.
// What composing or a sink throws is propagated to the caller.
namespace agent::spf::frameworksetup {

/// Reports progress of tracking and removal, at level 4.
void logProgress(const char* message);

/// The same, with a value appended to the message as it is.
void logProgress(const char* message, const std::string& value);

/// The same, with the value's own text appended.
void logProgress(const char* message, const cppmicroservices::Any& value);

/// Reports that an exception was swallowed, at level 512.
void logSwallowedException(const char* message);

}  // namespace agent::spf::frameworksetup
