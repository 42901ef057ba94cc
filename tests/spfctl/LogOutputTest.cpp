#include "commands/LogOutput.hpp"

#include <gmock/gmock.h>

#include <iostream>
#include <memory>
#include <sstream>
#include <string>

#include <boost/log/keywords/severity.hpp>
#include <boost/log/sources/record_ostream.hpp>
#include <boost/log/trivial.hpp>

#include "agent/host/logging.hpp"
#include "commands/logLevels.hpp"

namespace spf::test {

using spfctl::HeldLogRecords;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

/// Standard error while the test lasts.
class TheLog : public testing::Test {
 protected:
  TheLog() { spfctl::showLogRecords(0xFFFFFFFF); }
  ~TheLog() override {
    spfctl::showLogRecords(0);
    std::cerr.rdbuf(previous_);
  }

  static void write(std::uint32_t level, const std::string& text) {
    agent::host::logging::basic_diagnostic_logger<char> logger("channel");
    if (auto record = logger.open_record(boost::log::keywords::severity = level)) {
      boost::log::record_ostream stream(record);
      stream << text;
      stream.flush();
      logger.push_record(std::move(record));
    }
  }

  // Returns what was written since the last call.
  std::string written() {
    auto text = err_.str();
    err_.str("");
    return text;
  }

 private:
  std::ostringstream err_;
  std::streambuf* const previous_ = std::cerr.rdbuf(err_.rdbuf());
};

}  // namespace

TEST_F(TheLog, NamesChannelAndLevel) {
  write(spfctl::loglevels::progress, "bound");
  EXPECT_EQ(written(), "log channel 4: bound\n");
}

TEST_F(TheLog, WritesWarningsAsThoseOfTheTool) {
  write(spfctl::loglevels::warnings, "no host");
  EXPECT_EQ(written(), "spfctl: warning: no host\n");
}

TEST_F(TheLog, WritesOneLineForEachRecordAndNoCommandsToATerminal) {
  write(spfctl::loglevels::exceptions, "two\nlines\x1b[2J");
  EXPECT_EQ(written(), "log channel 512: two\\x0alines\\x1b[2J\n");
}

// Other code need not ask before it writes a record.
TEST_F(TheLog, ShowsNoRecordWhoseLevelIsOff) {
  spfctl::showLogRecords(spfctl::loglevels::warnings);
  write(spfctl::loglevels::progress, "off");
  write(spfctl::loglevels::warnings, "on");
  EXPECT_EQ(written(), "spfctl: warning: on\n");
}

TEST_F(TheLog, ShowsRecordsWithLevelsOfOtherLibrariesIfItShowsAnyLevel) {
  spfctl::showLogRecords(spfctl::loglevels::warnings);
  BOOST_LOG_TRIVIAL(info) << "of a bundle";
  EXPECT_EQ(written(), "log: of a bundle\n");
  spfctl::showLogRecords(0);
  BOOST_LOG_TRIVIAL(error) << "of a bundle";
  EXPECT_EQ(written(), "");
}

TEST_F(TheLog, HoldsTheLatestTenThousandRecordsBack) {
  HeldLogRecords held([] {});
  for (int i = 1; i <= 10002; ++i) {
    write(4, std::to_string(i));
  }
  const auto lines = held.take();
  ASSERT_THAT(lines, SizeIs(10001));
  EXPECT_EQ(lines[0], "spfctl: warning: 2 log records were dropped");
  EXPECT_EQ(lines[1], "log channel 4: 3");
  EXPECT_EQ(lines.back(), "log channel 4: 10002");
  EXPECT_THAT(held.take(), IsEmpty());
}

TEST_F(TheLog, HoldsRecordsBackUntilTheyAreTaken) {
  int records = 0;
  HeldLogRecords held([&] { ++records; });
  write(4, "first");
  write(64, "second");
  EXPECT_EQ(records, 2);
  EXPECT_EQ(written(), "");
  EXPECT_THAT(held.take(), ElementsAre("log channel 4: first", "spfctl: warning: second"));
  EXPECT_THAT(held.take(), IsEmpty());
}

TEST_F(TheLog, WritesWhatWasNotTakenAndHoldsNothingBackAfterwards) {
  auto held = std::make_unique<HeldLogRecords>([] {});
  write(4, "first");
  EXPECT_THAT(held->take(), SizeIs(1));
  write(4, "second");
  write(4, "third");
  held.reset();
  EXPECT_EQ(written(), "log channel 4: second\nlog channel 4: third\n");
  write(4, "fourth");
  EXPECT_EQ(written(), "log channel 4: fourth\n");
}

}  // namespace spf::test
