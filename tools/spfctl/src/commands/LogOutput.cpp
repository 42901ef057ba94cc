#include "commands/LogOutput.hpp"

#include <iostream>
#include <mutex>
#include <string>

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/expressions/attr.hpp>
#include <boost/log/expressions/formatter.hpp>
#include <boost/log/expressions/formatters/stream.hpp>
#include <boost/log/expressions/message.hpp>
#include <boost/log/utility/formatting_ostream.hpp>
#include <boost/log/utility/setup/console.hpp>
#include <boost/phoenix/operator.hpp>

#include "agent/host/logging_levels.hpp"
#include "supervision/JournalMessages.hpp"

namespace spfctl {

namespace {

using boost::log::formatter;
using boost::log::formatting_ostream;
using boost::log::record_view;

// A swallowed exception is no error of the host, which continues.
Priority priorityOf(const record_view& record) {
  switch (boost::log::extract_or_default<std::uint32_t>("Severity", record, 0U)) {
    case 4:
      return Priority::debug;
    case 64:
    case 512:
      return Priority::warning;
    default:
      return Priority::ordinary;
  }
}

formatter plainFormat() {
  namespace expressions = boost::log::expressions;
  return expressions::stream << "log " << expressions::attr<std::string>("Channel") << " "
                             << expressions::attr<std::uint32_t>("Severity") << ": " << expressions::smessage;
}

// A record may hold several lines, each of which is an entry of the journal.
formatter journalFormat() {
  return [plain = plainFormat()](const record_view& record, formatting_ostream& stream) {
    std::string text;
    formatting_ostream line(text);
    plain(record, line);
    line.flush();
    stream << withPriority(priorityOf(record), text);
  };
}

}  // namespace

void showLogRecords(std::uint32_t levels) {
  static std::once_flag once;
  std::call_once(once, [] {
    boost::log::add_console_log(
        std::cerr, boost::log::keywords::auto_flush = true,
        boost::log::keywords::format = isJournalAtStandardError() ? journalFormat() : plainFormat());
  });
  agent::host::logging::set_enabled_levels(levels);
}

}  // namespace spfctl
