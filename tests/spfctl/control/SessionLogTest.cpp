#include <gmock/gmock.h>

#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <utility>

#include <boost/log/keywords/severity.hpp>
#include <boost/log/sources/record_ostream.hpp>

#include "agent/host/host.hpp"
#include "agent/host/logging.hpp"
#include "commands/LogOutput.hpp"
#include "commands/Session.hpp"
#include "commands/logLevels.hpp"
#include "file/readConfiguration.hpp"
#include "support/NotificationSocket.hpp"

namespace spf::test {

using namespace spfctl;

namespace {

constexpr auto warning = "spfctl: warning: on the way\n";

void writeWarning() {
  agent::host::logging::basic_diagnostic_logger<char> logger("channel");
  if (auto record = logger.open_record(boost::log::keywords::severity = loglevels::warnings)) {
    boost::log::record_ostream stream(record);
    stream << "on the way";
    stream.flush();
    logger.push_record(std::move(record));
  }
}

/// What a session on a terminal writes to standard error.
struct Written {
  std::string atOnce;  ///< when the log record was written, in the middle of the session
  std::string inAll;
};

Written writtenBySession(bool isErrorOnTerminal) {
  const EnvironmentVariable noManager{"NOTIFY_SOCKET"};
  Changes changes;
  const Signals signals(changes);
  agent::host::services::HostOptions hostOptions;
  hostOptions.installationRoot = SPF_TREE;
  const agent::host::services::Host host(hostOptions);
  EventRecorder recorder(agent::host::services::getFramework()->GetBundleContext());
  ChangeRequests requests(changes);
  StatusBoard board;
  ServiceManager manager;
  RunOptions options;
  options.once = true;
  const std::string text = R"({"configurationID": "c"})";
  const auto source = std::make_shared<const ConfigurationSource>(
      ConfigurationSource{"/f.json", text, checkConfiguration({"/f.json", text}).description});

  std::ostringstream out;
  std::ostringstream err;
  Output output{out, err, [] { return TerminalSize{80, 24}; }};
  output.isErrorOnTerminal = isErrorOnTerminal;
  std::streambuf* const previous = std::cerr.rdbuf(err.rdbuf());
  showLogRecords(loglevels::warnings);
  Written written;
  bool isWritten = false;
  const auto onStatus = [&] {
    if (!std::exchange(isWritten, true)) {
      writeWarning();
      written.atOnce = err.str();
    }
  };
  Session sut(source, options, {signals, changes, recorder, requests, board, manager, onStatus}, output);
  sut.publish();
  EXPECT_EQ(sut.run(), 0);
  showLogRecords(0);
  std::cerr.rdbuf(previous);
  written.inAll = err.str();
  return written;
}

}  // namespace

TEST(ASessionThatDrawsABlock, HoldsLogRecordsBackThatGoToTheTerminalToo) {
  const auto written = writtenBySession(true);
  EXPECT_EQ(written.atOnce, "");
  EXPECT_EQ(written.inAll, warning);
}

TEST(ASessionThatDrawsABlock, WritesLogRecordsAtOnceThatGoElsewhere) {
  EXPECT_EQ(writtenBySession(false).atOnce, warning);
}

}  // namespace spf::test
