#include <chrono>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include "agent/spf/etcd/NameRecord.hpp"
#include "agent/spf/etcd/RecordReader.hpp"

namespace agent::spf::etcd {

using testing::ElementsAre;
using testing::IsEmpty;

const std::string key = "station/4711.a_b-c";
const std::string value =
    R"({"address":"tcp://10.0.0.1:5555","configuration":"demo","host":"alpha","key":"k","process":4711,)"
    R"("since":"2026-11-22T12:00:00Z","version":1})";

TEST(ARecord, IsReadAndWritten) {
  const auto record = decode(key, value);
  EXPECT_EQ(record.name, "station");
  EXPECT_EQ(record.id, "4711.a_b-c");
  EXPECT_EQ(record.address, "tcp://10.0.0.1:5555");
  EXPECT_EQ(record.key, "k");
  EXPECT_EQ(record.host, "alpha");
  EXPECT_EQ(record.process, 4711);
  EXPECT_EQ(record.configuration, "demo");
  EXPECT_EQ(record.since, std::chrono::system_clock::from_time_t(1795348800));
  EXPECT_EQ(encode(record), std::make_pair(key, value));
}

TEST(ARecord, LosesFractionsOfSeconds) {
  auto record = decode(key, value);
  record.since += std::chrono::milliseconds(999);
  EXPECT_EQ(encode(record).second, value);
}

TEST(ARecord, MayHaveFurtherMembers) {
  auto json = nlohmann::json::parse(value);
  json["later"] = {1, 2};
  EXPECT_EQ(decode(key, json.dump()).host, "alpha");
}

TEST(ARecord, IsWrittenEvenIfATextIsNoUtf8) {
  auto record = decode(key, value);
  record.host = "\xff";
  EXPECT_EQ(decode(key, encode(record).second).host, "\xef\xbf\xbd");
}

// Returns what is wrong with a record.
std::string fault(const std::string& itsKey, const std::string& itsValue) {
  try {
    decode(itsKey, itsValue);
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

TEST(ARecord, NeedsAKeyOfNameAndID) {
  for (const std::string bad : {"", "station", "station/", "/1", "station/1/2", "sta tion/1", "station/\xc3\xa4"}) {
    EXPECT_EQ(fault(bad, value),
              "the key is not that of a record; expected NAME/ID of letters, digits, '.', '_' and '-'");
  }
}

TEST(ARecord, NeedsAJsonObject) {
  for (const std::string bad : {"", "garbage", "[]", "1", "{\"version\":1"}) {
    EXPECT_EQ(fault(key, bad), "the value is no JSON object; expected a record");
  }
}

struct Fault {
  std::string member;
  nlohmann::json value;  // null to leave the member out
  std::string message;
};

TEST(ARecord, NeedsMembersThatCanBeRead) {
  const std::vector<Fault> faults = {
      {"version", nullptr, "the value has no 'version'; expected 1"},
      {"version", 2, "'version' is not known; expected 1"},
      {"version", "1", "'version' is not known; expected 1"},
      {"address", nullptr, "the value has no 'address'; expected a text without control characters"},
      {"address", 5, "'address' is no text; expected a text without control characters"},
      {"address", "tcp://a:1\n", "'address' contains a control character; expected a text without control characters"},
      {"address", "ipc://a", "'address' is 'ipc://a'; expected tcp://HOST:PORT"},
      {"address", "tcp://*:5", "'address' is 'tcp://*:5'; expected tcp://HOST:PORT"},
      {"address", "tcp://a:*", "'address' is 'tcp://a:*'; expected tcp://HOST:PORT"},
      {"address", "tcp://b;a:1", "'address' is 'tcp://b;a:1'; expected tcp://HOST:PORT"},
      {"address", "a", "malformed address 'a'; expected '<scheme>://<where>'"},
      {"key", false, "'key' is no text; expected a text without control characters"},
      {"host", "\x1b[2J", "'host' contains a control character; expected a text without control characters"},
      {"configuration", nullptr, "the value has no 'configuration'; expected a text without control characters"},
      {"process", nullptr, "the value has no 'process'; expected a number that is not negative"},
      {"process", -1, "'process' is no process's number; expected a number that is not negative"},
      {"process", 1.5, "'process' is no process's number; expected a number that is not negative"},
      {"process", 4294967296, "'process' is no process's number; expected a number that is not negative"},
      {"since", "yesterday", "'since' is 'yesterday'; expected a time such as 2026-11-22T12:00:00Z"},
      {"since", "2026-02-30T12:00:00Z",
       "'since' is '2026-02-30T12:00:00Z'; expected a time such as 2026-11-22T12:00:00Z"},
      {"since", "9999-12-31T00:00:00Z",
       "'since' is '9999-12-31T00:00:00Z'; expected a time such as 2026-11-22T12:00:00Z"},
      {"since", "2026-11-22T12:00:00Z ",
       "'since' is '2026-11-22T12:00:00Z '; expected a time such as 2026-11-22T12:00:00Z"},
  };
  for (const auto& bad : faults) {
    auto json = nlohmann::json::parse(value);
    json[bad.member] = bad.value;
    if (bad.value.is_null()) {
      json.erase(bad.member);
    }
    EXPECT_EQ(fault(key, json.dump()), bad.message);
  }
}

class TheReaderOfRecords : public testing::Test {
 protected:
  std::vector<std::string> warnings_;
  RecordReader sut_{[this](const std::string& warning) { warnings_.push_back(warning); }};
};

TEST_F(TheReaderOfRecords, ReturnsThoseThatCanBeReadInOrder) {
  const auto records = sut_.read({{"b/1", value}, {"a/2", value}, {"a/1", "garbage"}});
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0].name, "a");
  EXPECT_EQ(records[1].name, "b");
  EXPECT_THAT(warnings_, ElementsAre("cannot read key 'a/1': the value is no JSON object; expected a record"));
}

TEST_F(TheReaderOfRecords, FollowsValuesThatChange) {
  NameRecord record;
  record.name = "a";
  record.id = "1";
  for (const std::string address : {"tcp://10.0.0.1:1", "tcp://10.0.0.1:1", "tcp://10.0.0.2:1"}) {
    record.address = address;
    const auto records = sut_.read({encode(record)});
    ASSERT_EQ(records.size(), 1u);
    EXPECT_EQ(records[0].address, address);
  }
  EXPECT_THAT(sut_.read({}), IsEmpty());
}

TEST_F(TheReaderOfRecords, WarnsOnceOfAKeyHoweverItsValueChanges) {
  sut_.read({{"a/1", "garbage"}});
  sut_.read({{"a/1", "garbage"}, {"b/1", value}});
  sut_.read({{"a/1", "other garbage"}});
  sut_.read({{"a/1", "more garbage"}});
  EXPECT_EQ(warnings_.size(), 1u);
}

TEST_F(TheReaderOfRecords, WarnsAnewOfAKeyThatWasReadableMeanwhile) {
  sut_.read({{"a/1", "garbage"}});
  EXPECT_EQ(sut_.read({{"a/1", value}}).size(), 1u);
  sut_.read({{"a/1", "garbage"}});
  EXPECT_EQ(warnings_.size(), 2u);
}

TEST_F(TheReaderOfRecords, WarnsAnewOfAKeyThatCameBack) {
  sut_.read({{"a/1", "garbage"}});
  sut_.read({});
  sut_.read({{"a/1", "garbage"}});
  EXPECT_EQ(warnings_.size(), 2u);
}

TEST_F(TheReaderOfRecords, WarnsWithoutTheWholeOfALongValue) {
  auto json = nlohmann::json::parse(value);
  std::string address;
  for (int count = 0; count < 100000; ++count) {
    address += "\xc3\xa4";
  }
  for (const std::string start : {"", "x"}) {
    json["address"] = start + address;
    sut_.read({{"a/1", json.dump()}});
    sut_.read({});
  }
  ASSERT_EQ(warnings_.size(), 2u);
  for (const auto& warning : warnings_) {
    EXPECT_LT(warning.size(), 400u);
    EXPECT_THAT(warning, testing::EndsWith("\xc3\xa4..."));
  }
}

TEST_F(TheReaderOfRecords, WarnsWithKeysThatCanBePrinted) {
  sut_.read({{"\x1b\xff", value}, {std::string(1000, 'x'), value}});
  ASSERT_EQ(warnings_.size(), 2u);
  EXPECT_EQ(warnings_[0].rfind("cannot read key '?"
                               "?': ",
                               0),
            0u);
  EXPECT_EQ(warnings_[1].rfind("cannot read key '" + std::string(100, 'x') + "...': ", 0), 0u);
}

TEST(AReaderOfRecordsWithoutAWarning, IsSilent) {
  EXPECT_THAT(RecordReader(nullptr).read({{"a/1", "garbage"}}), IsEmpty());
}

}  // namespace agent::spf::etcd
