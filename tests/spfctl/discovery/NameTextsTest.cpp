#include "discovery/nameTexts.hpp"

#include <gmock/gmock.h>

#include <sstream>

#include <nlohmann/json.hpp>

#include "records.hpp"

namespace spf::test {

using namespace spfctl;
using agent::spf::etcd::NameRecord;
using nlohmann::json;
using testing::HasSubstr;
using Kind = NameChange::Kind;

std::string table(const std::vector<NameRecord>& records) {
  std::ostringstream stream;
  printNames(stream, records, someTime);
  return stream.str();
}

NameRecord ofAge(std::chrono::seconds age) {
  auto result = record("n", "1", "tcp://h:1");
  result.since = someTime - age;
  return result;
}

// The last column of the only row.
std::string ageOf(std::chrono::seconds age) {
  const auto text = table({ofAge(age)});
  const auto row = text.substr(text.find('\n') + 1);
  return row.substr(row.find("weather        ") + 15);
}

TEST(NamesOnATerminal, AreATable) {
  NameRecord fixed;
  fixed.name = "dock";
  fixed.address = "ipc:///run/dock";
  auto keyed = record("station", "2", "tcp://10.0.0.1:5555");
  keyed.key = "south";
  EXPECT_EQ(table({fixed, record("pier", "1", "tcp://10.0.0.2:1"), keyed}),
            "NAME     ADDRESS                    HOST   CONFIGURATION  AGE\n"
            "dock     ipc:///run/dock            -      -              -\n"
            "pier     tcp://10.0.0.2:1           alpha  weather        1 s\n"
            "station  tcp://10.0.0.1:5555#south  alpha  weather        1 s\n");
}

TEST(NamesOnATerminal, HaveTheirAgeInOneUnit) {
  using namespace std::chrono_literals;
  EXPECT_EQ(ageOf(0s), "0 s\n");
  EXPECT_EQ(ageOf(119s), "119 s\n");
  EXPECT_EQ(ageOf(120s), "2 min\n");
  EXPECT_EQ(ageOf(2h - 1s), "119 min\n");
  EXPECT_EQ(ageOf(2h), "2 h\n");
  EXPECT_EQ(ageOf(48h - 1s), "47 h\n");
  EXPECT_EQ(ageOf(1000h), "41 d\n");
  EXPECT_EQ(ageOf(-30s), "0 s\n") << "the announcer's clock is ahead";
}

TEST(NamesOnATerminal, SendItNoCommands) {
  auto evil = record("n", "1", "tcp://h:1\x1b[2J");
  evil.host = "al\x1b]0;pha";
  evil.configuration =
      "\xe2\x80\xae"
      "weather\n";
  evil.key = "k\r";
  for (const auto& text : {table({evil}), changeLine({Kind::moved, evil, "tcp://\x07"}, someTime), namesAsJson({evil}),
                           changeAsJson({Kind::moved, evil, "tcp://\x07"}, someTime)}) {
    EXPECT_EQ(text.find_first_of("\x1b\r\x07"), std::string::npos) << text;
  }
  EXPECT_THAT(table({evil}), HasSubstr("tcp://h:1\\x1b[2J#k\\x0d  al\\x1b]0;pha  \\u{202e}weather\\x0a"));
  EXPECT_THAT(changeLine({Kind::added, evil, ""}, someTime), HasSubstr("al\\x1b]0;pha"));
}

TEST(NamesOnATerminal, HaveALineForEachChange) {
  const auto station = record("station", "2", "tcp://10.0.0.1:5555");
  const std::string end = " (host alpha, process 4711, configuration weather)";
  EXPECT_EQ(changeLine({Kind::present, station, ""}, someTime),
            "2026-11-22T08:00:00.250Z  station  present tcp://10.0.0.1:5555" + end);
  EXPECT_EQ(changeLine({Kind::added, station, ""}, someTime),
            "2026-11-22T08:00:00.250Z  station  added tcp://10.0.0.1:5555" + end);
  EXPECT_EQ(changeLine({Kind::removed, station, ""}, someTime),
            "2026-11-22T08:00:00.250Z  station  removed tcp://10.0.0.1:5555" + end);
  EXPECT_EQ(changeLine({Kind::changed, station, ""}, someTime),
            "2026-11-22T08:00:00.250Z  station  changed tcp://10.0.0.1:5555" + end);
  EXPECT_EQ(changeLine({Kind::moved, station, "tcp://10.0.0.1:4444"}, someTime),
            "2026-11-22T08:00:00.250Z  station  moved from tcp://10.0.0.1:4444 to tcp://10.0.0.1:5555" + end);
}

TEST(NamesAsJson, AreADocument) {
  NameRecord fixed;
  fixed.name = "dock";
  fixed.address = "tcp://10.0.0.3:1";
  fixed.key = "dock";
  EXPECT_EQ(json::parse(namesAsJson({fixed, record("station", "2", "tcp://10.0.0.1:5555")})), json::parse(R"({
    "format_version": 1,
    "names": [
      {"name": "dock", "source": "table", "address": "tcp://10.0.0.3:1", "key": "dock"},
      {"name": "station", "source": "etcd", "address": "tcp://10.0.0.1:5555", "key": "", "host": "alpha",
       "process": 4711, "configuration": "weather", "since": "2026-11-22T07:59:59.000Z", "announcement": "2"}]})"));
  EXPECT_EQ(json::parse(namesAsJson({})), json::parse(R"({"format_version": 1, "names": []})"));
}

TEST(NamesAsJson, HaveALineForEachChange) {
  const auto line =
      changeAsJson({Kind::moved, record("station", "2", "tcp://10.0.0.1:5555"), "tcp://10.0.0.1:4444"}, someTime);
  EXPECT_EQ(line.find('\n'), std::string::npos);
  EXPECT_EQ(json::parse(line), json::parse(R"({
    "time": "2026-11-22T08:00:00.250Z", "change": "moved", "before": "tcp://10.0.0.1:4444", "name": "station",
    "source": "etcd", "address": "tcp://10.0.0.1:5555", "key": "", "host": "alpha", "process": 4711,
    "configuration": "weather", "since": "2026-11-22T07:59:59.000Z", "announcement": "2"})"));
  const auto added = json::parse(changeAsJson({Kind::added, record("station", "2", "tcp://h:1"), ""}, someTime));
  EXPECT_EQ(added["change"], "added");
  EXPECT_FALSE(added.contains("before"));
}

TEST(NamesAsJson, StandBytesThatAreNoUtf8) {
  const auto document = json::parse(namesAsJson({record("n", "1", "tcp://\xff")}), nullptr, false);
  EXPECT_FALSE(document.is_discarded());
}

}  // namespace spf::test
