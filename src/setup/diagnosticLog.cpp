#include "setup/diagnosticLog.hpp"

#include <cstdint>

#include <cppmicroservices/Any.h>
#include <boost/log/sources/record_ostream.hpp>
#include <boost/log/sources/severity_feature.hpp>

#include "agent/host/logging.hpp"

namespace agent::spf::frameworksetup {

namespace {

using Logger = agent::host::logging::basic_diagnostic_logger<char>;

constexpr std::uint32_t progress = 4;
constexpr std::uint32_t swallowedException = 512;

Logger& diagnosticLogger() {
  static Logger logger("agent::spf::frameworksetup");
  return logger;
}

// The gate is the first step: a disabled level costs one read and one test. `compose` runs only when a
// record was opened. The pump pushes the record when it is destroyed at the end of the statement, unless
// `compose` threw.
template <class Compose>
void write(std::uint32_t level, const Compose& compose) {
  auto& logger = diagnosticLogger();
  if ((logger.enabled_levels() & level) == 0) {
    return;
  }
  if (auto record = logger.open_record(boost::log::keywords::severity = level)) {
    compose(boost::log::aux::make_record_pump(logger, record).stream());
  }
}

}  // namespace

void logProgress(const char* message) {
  write(progress, [&](auto& stream) { stream << message; });
}

void logProgress(const char* message, const std::string& value) {
  write(progress, [&](auto& stream) { stream << message << value; });
}

void logProgress(const char* message, const cppmicroservices::Any& value) {
  write(progress, [&](auto& stream) { stream << message << value.ToString(); });
}

void logSwallowedException(const char* message) {
  write(swallowedException, [&](auto& stream) { stream << message; });
}

}  // namespace agent::spf::frameworksetup
