#include "commands/LogOutput.hpp"

#include <iostream>
#include <string>

#include <boost/log/expressions/attr.hpp>
#include <boost/log/expressions/formatters/stream.hpp>
#include <boost/log/expressions/message.hpp>
#include <boost/log/utility/setup/console.hpp>
#include <boost/phoenix/operator.hpp>

#include "agent/host/logging_levels.hpp"

namespace spfctl {

void showLogRecords(std::uint32_t levels) {
  namespace expressions = boost::log::expressions;
  boost::log::add_console_log(std::cerr, boost::log::keywords::auto_flush = true,
                              boost::log::keywords::format = expressions::stream
                                                             << "log " << expressions::attr<std::string>("Channel")
                                                             << " " << expressions::attr<std::uint32_t>("Severity")
                                                             << ": " << expressions::smessage);
  agent::host::logging::set_enabled_levels(levels);
}

}  // namespace spfctl
