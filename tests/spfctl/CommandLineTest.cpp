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
  EXPECT_EQ(options.logLevels, 64u);
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
  EXPECT_EQ(parsed({"run", "f", "--log=warnings"}).logLevels, 64u);
  EXPECT_EQ(parsed({"run", "f", "--log=exceptions"}).logLevels, 512u);
  EXPECT_EQ(parsed({"run", "f", "--log=progress,exceptions"}).logLevels, 516u);
  EXPECT_EQ(parsed({"run", "f", "--log=4,8"}).logLevels, 12u);
  EXPECT_EQ(parsed({"run", "f", "--log=all"}).logLevels, 0xFFFFFFFFu);
}

TEST_F(TheCommandLine, ReadsNoLogLevelAsNone) {
  EXPECT_EQ(parsed({"run", "f", "--log=none"}).logLevels, 0u);
}

TEST_F(TheCommandLine, RefusesLogLevelsThatThereAreNot) {
  EXPECT_EQ(complaint({"run", "f", "--log=loud"}),
            "--log has the level 'loud'; expected progress, warnings, exceptions, all, none or a number");
  EXPECT_EQ(complaint({"run", "f", "--log=4,"}),
            "--log has the level ''; expected progress, warnings, exceptions, all, none or a number");
  EXPECT_EQ(complaint({"run", "f", "--log=4294967296"}),
            "--log has the level '4294967296'; expected progress, warnings, exceptions, all, none or a number");
}

TEST_F(TheCommandLine, NamesWhatIsWrongAndWhatWasExpected) {
  EXPECT_EQ(
      complaint({}),
      "spfctl: no command; expected run, status, watch, apply, withdraw, ask, log, discover, keygen, check, show, "
      "diff, inspect, replay, schema, completion, manual");
  EXPECT_EQ(complaint({"walk"}),
            "spfctl: unknown command 'walk'; expected run, status, watch, apply, withdraw, ask, log, discover, "
            "keygen, check, show, diff, inspect, replay, schema, completion, manual");
  EXPECT_EQ(complaint({"run"}), "spfctl run: FILE is required");
  EXPECT_EQ(complaint({"run", ""}), "spfctl run: an empty FILE; expected a name");
  EXPECT_EQ(complaint({"run", "a", "b"}), "spfctl run: unexpected argument 'b'");
  EXPECT_EQ(complaint({"show", "a", "--colour"}),
            "spfctl show: unknown option '--colour'; expected --help, --as, --json");
  EXPECT_EQ(complaint({"--fast"}), "spfctl: unknown option '--fast'; expected --help, --version");
  EXPECT_EQ(complaint({"run", "a", "--timeout"}), "spfctl run: --timeout: 1 required TIME missing");
  EXPECT_EQ(complaint({"run", "a", "--root=/does/not/exist"}),
            "--root is '/does/not/exist'; expected a directory that exists");
}

TEST_F(TheCommandLine, SuggestsWhatWasMeant) {
  EXPECT_EQ(complaint({"chekc", "a"}), "spfctl: unknown command 'chekc'; did you mean 'check'?");
  EXPECT_EQ(complaint({"run", "a", "--onec"}), "spfctl run: unknown option '--onec'; did you mean '--once'?");
  EXPECT_EQ(complaint({"run", "a", "--timout=3s"}),
            "spfctl run: unknown option '--timout=3s'; did you mean '--timeout'?");
}

TEST_F(TheCommandLine, TakesTheLastValueOfAnOptionThatIsGivenTwice) {
  EXPECT_EQ(parsed({"run", "f", "--timeout", "5s", "--timeout", "7s"}).timeout, 7s);
}

TEST_F(TheCommandLine, TakesABracketedNameForAFile) {
  EXPECT_EQ(std::get<CheckOptions>(parseCommandLine({"check", "[a,b]"})).files, std::vector<std::string>{"./[a,b]"});
}

TEST_F(TheCommandLine, SuggestsAnOptionAlsoWhereTheFileIsMissing) {
  EXPECT_EQ(complaint({"check", "--strct"}), "spfctl check: unknown option '--strct'; did you mean '--strict'?");
}

TEST_F(TheCommandLine, TakesOneDashForStandardInput) {
  EXPECT_EQ(parsed({"run", "-"}).file, "-");
  EXPECT_EQ(parsed({"run", "--once", "-"}).file, "-");
}

TEST_F(TheCommandLine, ReadsTheOptionsOfEveryCommand) {
  const auto check = std::get<CheckOptions>(parseCommandLine({"check", "a", "--strict", "b", "--json"}));
  EXPECT_EQ(check.files, (std::vector<std::string>{"a", "b"}));
  EXPECT_TRUE(check.strict && check.json);
  EXPECT_EQ(std::get<ShowOptions>(parseCommandLine({"show", "a"})).format, ShowOptions::Format::text);
  EXPECT_EQ(std::get<ShowOptions>(parseCommandLine({"show", "a", "--as", "svg"})).format, ShowOptions::Format::svg);
  EXPECT_EQ(std::get<ShowOptions>(parseCommandLine({"show", "a", "--as", "json"})).format, ShowOptions::Format::json);
  EXPECT_EQ(std::get<ShowOptions>(parseCommandLine({"show", "a", "--as", "dot"})).format, ShowOptions::Format::dot);
  EXPECT_EQ(std::get<ShowOptions>(parseCommandLine({"show", "a", "--json"})).format, ShowOptions::Format::json);
  const auto diff = std::get<DiffOptions>(parseCommandLine({"diff", "a", "b", "--json"}));
  EXPECT_EQ(diff.before + diff.after, "ab");
  EXPECT_TRUE(diff.json);
  const auto inspect = std::get<InspectOptions>(parseCommandLine({"inspect", "a", "b", "--json"}));
  EXPECT_EQ(inspect.paths.size(), 2u);
  EXPECT_TRUE(inspect.json);
  const auto replay = std::get<ReplayOptions>(parseCommandLine({"replay", "a", "b", "--json"}));
  EXPECT_EQ(replay.events + replay.file, "ab");
  EXPECT_TRUE(replay.json);
  EXPECT_EQ(std::get<ReplayOptions>(parseCommandLine({"replay", "a"})).file, "");
  EXPECT_TRUE(parsed({"run", "a", "--quiet"}).quiet);
}

TEST_F(TheCommandLine, ReadsTheOptionsOfDiscover) {
  const auto options = std::get<DiscoverOptions>(
      parseCommandLine({"discover", "station", "--discovery", "etcd:http://10.0.0.1:2379", "--watch", "--json",
                        "--timeout", "2s", "--property", "spf.discovery.etcd.prefix=/x/"}));
  EXPECT_EQ(options.name, "station");
  EXPECT_EQ(options.framework.etcd, std::vector<std::string>{"http://10.0.0.1:2379"});
  EXPECT_EQ(options.framework.properties.size(), 1u);
  EXPECT_TRUE(options.watch && options.json);
  EXPECT_EQ(options.timeout, 2s);
  const auto table = std::get<DiscoverOptions>(parseCommandLine({"discover", "--discovery", "table:f"}));
  EXPECT_EQ(table.framework.table, "f");
  EXPECT_EQ(table.name, "");
  EXPECT_EQ(table.timeout, 5s);
  EXPECT_FALSE(table.watch || table.json);
}

TEST_F(TheCommandLine, RefusesADiscoverThatFindsNothing) {
  EXPECT_EQ(complaint({"discover"}), "spfctl discover: no source of names; expected --discovery");
  EXPECT_EQ(complaint({"discover", "a/b", "--discovery", "table:f"}),
            "NAME is 'a/b'; expected letters, digits, '.', '_' and '-'");
  EXPECT_EQ(complaint({"discover", "--watch", "--discovery", "table:f"}),
            "spfctl discover: --watch with table:, which never changes; expected --discovery etcd: alone");
}

TEST_F(TheCommandLine, ReadsTheOptionsOfKeygen) {
  const auto options = std::get<KeygenOptions>(parseCommandLine({"keygen", "station", "--folder", "/tmp"}));
  EXPECT_EQ(options.name, "station");
  EXPECT_EQ(options.folder, "/tmp");
  EXPECT_EQ(std::get<KeygenOptions>(parseCommandLine({"keygen", "a"})).folder, "");
}

TEST_F(TheCommandLine, RefusesNamesThatNoKeyHas) {
  for (const auto& name : {std::string(""), std::string(".a"), std::string("a/b"), std::string("../a"),
                           std::string("a b"), std::string(65, 'x')}) {
    EXPECT_EQ(
        complaint({"keygen", name}),
        "NAME is '" + name + "'; expected 1 to 64 letters, digits, '.', '_' and '-', and no '.' at the beginning");
  }
}

TEST_F(TheCommandLine, RefusesAFolderForKeysThatIsNone) {
  EXPECT_EQ(complaint({"keygen", "a", "--folder", "/dev/null"}),
            "--folder is '/dev/null'; expected a directory that exists");
}

TEST_F(TheCommandLine, TakesWhatFollowsTwoDashesForTheFile) {
  EXPECT_EQ(parsed({"run", "--once", "--", "--help"}).file, "--help");
}

TEST_F(TheCommandLine, AsksForTexts) {
  const auto text = [](const std::vector<std::string>& arguments) {
    return std::get<PrintText>(parseCommandLine(arguments)).text;
  };
  EXPECT_EQ(text({"--help"}).find("Examples:\n"), 0u);
  EXPECT_NE(text({"run", "f", "-h"}).find("Usage: spfctl run FILE [OPTION...]"), std::string::npos);
  EXPECT_EQ(text({"--version"}).find("spfctl "), 0u);
  EXPECT_NE(text({"schema"}).find("draft-07"), std::string::npos);
  EXPECT_EQ(text({"manual"}).find(".TH SPFCTL 1"), 0u);
}

}  // namespace spf::test
