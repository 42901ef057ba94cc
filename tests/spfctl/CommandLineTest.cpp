#include "commands/CommandLine.hpp"

#include <gtest/gtest.h>

namespace spf::test {

using namespace std::chrono_literals;
using namespace spfctl;

class TheCommandLine : public testing::Test {
 protected:
  static RunOptions parsed(const std::vector<std::string>& arguments) {
    return std::get<RunOptions>(parseCommandLine(arguments));
  }
  static std::string complaint(const std::vector<std::string>& arguments) {
    try {
      parseCommandLine(arguments);
    } catch (const UsageError& error) {
      return error.what();
    }
    return "no complaint";
  }
  static std::vector<std::string> timeout(const char* text) { return {"run", "f", "--timeout", text}; }
};

TEST_F(TheCommandLine, HasDefaultsForEverythingButTheFile) {
  const auto options = parsed({"run", "file.json"});
  EXPECT_EQ(options.file, "file.json");
  EXPECT_EQ(options.root, "");
  EXPECT_EQ(options.timeout, 30s);
  EXPECT_FALSE(options.once);
  EXPECT_FALSE(options.setup);
  EXPECT_EQ(options.logLevels, 0u);
}

TEST_F(TheCommandLine, TakesAllOptionsInAnyPlace) {
  const auto options = parsed({"run", "--once", "--timeout=5s", "f", "--root", "/tmp", "--setup", "--log", "progress"});
  EXPECT_EQ(options.file, "f");
  EXPECT_EQ(options.root, "/tmp");
  EXPECT_EQ(options.timeout, 5s);
  EXPECT_TRUE(options.once);
  EXPECT_TRUE(options.setup);
  EXPECT_EQ(options.logLevels, 4u);
}

TEST_F(TheCommandLine, ReadsTimesWithUnits) {
  EXPECT_EQ(parsed(timeout("0s")).timeout, 0s);
  EXPECT_EQ(parsed(timeout("250ms")).timeout, 250ms);
  EXPECT_EQ(parsed(timeout("2m")).timeout, 2min);
  EXPECT_EQ(parsed(timeout("1h")).timeout, 1h);
  EXPECT_EQ(parsed(timeout("9223372036854775807ms")).timeout, std::chrono::milliseconds::max());
}

TEST_F(TheCommandLine, RefusesTimesThatAreNone) {
  for (const auto* text : {"", "5", "s", "-1s", "1.5s", "5 s", "5d", "9223372036854775808ms", "9223372036854775807s"}) {
    EXPECT_EQ(complaint(timeout(text)),
              std::string("--timeout is '") + text + "'; expected a whole number and ms, s, m or h, like 30s");
  }
}

TEST_F(TheCommandLine, ReadsLogLevelsByNameAndNumber) {
  EXPECT_EQ(parsed({"run", "f", "--log=exceptions"}).logLevels, 512u);
  EXPECT_EQ(parsed({"run", "f", "--log=progress,exceptions"}).logLevels, 516u);
  EXPECT_EQ(parsed({"run", "f", "--log=4,8"}).logLevels, 12u);
  EXPECT_EQ(parsed({"run", "f", "--log=all"}).logLevels, 0xFFFFFFFFu);
}

TEST_F(TheCommandLine, RefusesLogLevelsThatThereAreNot) {
  EXPECT_EQ(complaint({"run", "f", "--log=loud"}),
            "--log has the level 'loud'; expected progress, exceptions, all or a number");
  EXPECT_EQ(complaint({"run", "f", "--log=4,"}),
            "--log has the level ''; expected progress, exceptions, all or a number");
  EXPECT_EQ(complaint({"run", "f", "--log=4294967296"}),
            "--log has the level '4294967296'; expected progress, exceptions, all or a number");
}

TEST_F(TheCommandLine, NamesWhatIsWrongAndWhatWasExpected) {
  EXPECT_EQ(complaint({}), "spfctl: expected the command run");
  EXPECT_EQ(complaint({"walk"}), "spfctl: unknown command 'walk'; expected run");
  EXPECT_EQ(complaint({"run"}), "spfctl run: expected the configuration FILE");
  EXPECT_EQ(complaint({"run", ""}), "spfctl run: the FILE is empty; expected a file's name");
  EXPECT_EQ(complaint({"run", "a", "b"}), "spfctl run: unexpected argument 'b' after the file 'a'");
  EXPECT_EQ(complaint({"run", "a", "--fast"}),
            "spfctl run: unknown option '--fast'; expected --root, --timeout, --once, --setup or --log");
  EXPECT_EQ(complaint({"run", "a", "--once=1"}),
            "spfctl run: unknown option '--once=1'; expected --root, --timeout, --once, --setup or --log");
  EXPECT_EQ(complaint({"run", "a", "--timeout"}), "spfctl run: expected a value after --timeout");
  EXPECT_EQ(complaint({"run", "a", "--root=/does/not/exist"}),
            "--root is '/does/not/exist'; expected a directory that exists");
}

TEST_F(TheCommandLine, TakesWhatFollowsTwoDashesForTheFile) {
  EXPECT_EQ(parsed({"run", "--once", "--", "--help"}).file, "--help");
}

TEST_F(TheCommandLine, AsksForHelp) {
  EXPECT_TRUE(std::holds_alternative<Help>(parseCommandLine({"--help"})));
  EXPECT_TRUE(std::holds_alternative<Help>(parseCommandLine({"run", "f", "-h"})));
}

}  // namespace spf::test
