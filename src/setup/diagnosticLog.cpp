#include "setup/diagnosticLog.hpp"

#include <cppmicroservices/Any.h>
#include <boost/log/sources/record_ostream.hpp>
#include <boost/log/sources/severity_feature.hpp>

#include "agent/host/logging.hpp"

namespace agent::spf::frameworksetup {

namespace {

using Logger = agent::host::logging::basic_diagnostic_logger<char>;

// `compose` runs only when a record was opened. The pump pushes the record when it is destroyed at the end
// of the statement, unless `compose` threw.
template <class Compose>
void writeRecord(Logger& logger, std::uint32_t level, const Compose& compose) {
  if (auto record = logger.open_record(boost::log::keywords::severity = level)) {
    compose(boost::log::aux::make_record_pump(logger, record).stream());
  }
}

}  // namespace

DiagnosticLogger::DiagnosticLogger() : logger_(std::make_unique<Logger>(std::string("agent::spf::frameworksetup"))) {}

DiagnosticLogger::~DiagnosticLogger() = default;

void DiagnosticLogger::write(std::uint32_t level, const char* message) {
  writeRecord(*logger_, level, [&](auto& stream) { stream << message; });
}

void DiagnosticLogger::write(std::uint32_t level, const char* message, const std::string& value) {
  writeRecord(*logger_, level, [&](auto& stream) { stream << message << value; });
}

void DiagnosticLogger::write(std::uint32_t level, const char* message, const cppmicroservices::Any& value) {
  writeRecord(*logger_, level, [&](auto& stream) { stream << message << value.ToString(); });
}

}  // namespace agent::spf::frameworksetup
