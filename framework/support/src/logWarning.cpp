#include "agent/spf/frameworksupport/logWarning.hpp"

#include <cstdint>

#include <boost/log/keywords/severity.hpp>
#include <boost/log/sources/record_ostream.hpp>
#include "agent/host/logging.hpp"

namespace agent::spf::frameworksupport {

namespace {

/// The level of warnings, one bit of the host's mask.
constexpr std::uint32_t warning = 64;

}  // namespace

void logWarning(const char* channel, const std::string& text) noexcept {
  try {
    if ((agent::host::logging::enabled_levels() & warning) == 0) {
      return;
    }
    agent::host::logging::basic_diagnostic_logger<char> logger(channel);
    if (auto record = logger.open_record(boost::log::keywords::severity = warning)) {
      boost::log::record_ostream stream(record);
      stream << text;
      stream.flush();
      logger.push_record(std::move(record));
    }
  } catch (...) {
    // A sink failed, and there is no other place to report that to.
  }
}

}  // namespace agent::spf::frameworksupport
