#include <gmock/gmock.h>

#include "support/Process.hpp"
#include "support/Workspace.hpp"

namespace spf::test {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class TheTool : public testing::Test {
 protected:
  // Returns what it writes to standard error, which the shell makes the journal's stream.
  static std::string messagesInTheJournal(const std::string& arguments) {
    Process process(
        {"/bin/sh", "-c",
         "JOURNAL_STREAM=$(stat -Lc %d:%i /proc/self/fd/2) exec '" + std::string(SPFCTL) + "' " + arguments});
    process.wait();
    return process.err();
  }

  Workspace workspace_;
};

TEST_F(TheTool, WritesItsErrorsWithTheirPriorityToTheJournal) {
  EXPECT_EQ(messagesInTheJournal("run /does/not/exist.json"),
            "<3>spfctl: /does/not/exist.json: cannot be read: No such file or directory\n");
  EXPECT_THAT(messagesInTheJournal("run --fast"), StartsWith("<3>spfctl run: "));
}

TEST_F(TheTool, WritesItsWarningsWithTheirPriorityToTheJournal) {
  const auto file = workspace_.write("empty.json", "{}");
  EXPECT_THAT(
      messagesInTheJournal("run '" + file + "' --no-control --once --root '" + workspace_.path().string() + "'"),
      StartsWith("<4>spfctl: warning: no bundle of the framework in "));
}

TEST_F(TheTool, WritesLogRecordsWithTheirPriorityToTheJournal) {
  const auto file = workspace_.write("empty.json", R"({"configurationID": "x\ny"})");
  const auto messages = messagesInTheJournal("run '" + file + "' --no-control --once --log progress");
  EXPECT_THAT(messages, StartsWith("<7>log agent::spf::frameworksetup 4: "));
  EXPECT_THAT(messages, HasSubstr("4: About to remove spf configuration for x\n<7>y\n"));
  EXPECT_THAT(messages, Not(HasSubstr("\nlog ")));
}

TEST_F(TheTool, WritesWarningsOfTheFrameworkWithTheirPriorityToTheJournal) {
  const auto file = workspace_.write("empty.json", "{}");
  EXPECT_THAT(messagesInTheJournal("run '" + file + "' --no-control --once --property 'spf.advertise=*'"),
              HasSubstr("<4>spfctl: warning: the framework property"));
}

TEST_F(TheTool, WritesNoPrioritiesToAnotherStream) {
  Process process({"/bin/sh", "-c", "JOURNAL_STREAM=1:2 exec '" SPFCTL "' run /does/not/exist.json"});
  process.wait();
  EXPECT_THAT(process.err(), StartsWith("spfctl: "));
}

}  // namespace spf::test
