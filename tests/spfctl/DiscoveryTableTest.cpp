#include "file/discoveryTable.hpp"

#include <gtest/gtest.h>

#include <cppmicroservices/AnyMap.h>

#include "support/firstFinding.hpp"

namespace spf::test {

using namespace spfctl;
using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;
using Addresses = std::map<std::string, std::vector<std::string>>;

class ATableOfNames : public testing::Test {
 protected:
  static CheckedTable read(const std::string& text) {
    auto table = checkDiscoveryTable({"table.json", text});
    EXPECT_EQ(table.findings.errors(), 0u) << firstOf(table.findings, text);
    return table;
  }
  static std::string complaint(const std::string& text) {
    return firstOf(checkDiscoveryTable({"table.json", text}).findings, text);
  }
};

TEST_F(ATableOfNames, HoldsAnAddressOrAListForEachName) {
  const auto table = read(R"({"station": "tcp://127.0.0.1:5555", // the old one
                              "dock.north_1-a": ["ipc:///run/dock", "inproc://dock"]})");
  EXPECT_EQ(table.addresses, (Addresses{{"station", {"tcp://127.0.0.1:5555"}},
                                        {"dock.north_1-a", {"ipc:///run/dock", "inproc://dock"}}}));
  const auto property = any_cast<AnyMap>(table.property);
  EXPECT_EQ(property.size(), 2u);
  EXPECT_EQ(any_cast<std::string>(property.at("station")), "tcp://127.0.0.1:5555");
  const auto list = any_cast<std::vector<Any>>(property.at("dock.north_1-a"));
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(any_cast<std::string>(list[1]), "inproc://dock");
}

TEST_F(ATableOfNames, MayBeEmpty) {
  const auto table = read("{}");
  EXPECT_TRUE(table.addresses.empty());
  EXPECT_TRUE(any_cast<AnyMap>(table.property).empty());
}

TEST_F(ATableOfNames, HasTheRightTypes) {
  EXPECT_EQ(complaint("[]"), "1:1: found an array; expected an object");
  EXPECT_EQ(complaint("{\n  \"a\": 7}"), "2:8: found a number; expected a string or an array");
  EXPECT_EQ(complaint("{\"a\": [null]}"), "1:8: found null; expected a string");
  EXPECT_EQ(complaint("{\"a\": {}}"), "1:7: found an object; expected a string or an array");
}

TEST_F(ATableOfNames, HasNamesThatConfigurationsCanUse) {
  EXPECT_EQ(complaint(R"({"": "tcp://h:1"})"),
            "1:2: '' is no discovery name; expected letters, digits, '.', '_' and '-'");
  EXPECT_EQ(complaint(R"({"a/b": "tcp://h:1"})"),
            "1:2: 'a/b' is no discovery name; expected letters, digits, '.', '_' and '-'");
}

TEST_F(ATableOfNames, HasEachNameOnceAndWithAnAddress) {
  EXPECT_EQ(complaint(R"({"a": "tcp://h:1", "a": "tcp://h:2"})"), "1:20: the key 'a' is given twice; expected it once");
  EXPECT_EQ(complaint(R"({"a": "tcp://h:1", "A": "tcp://h:2"})"),
            "1:20: the key 'A' is given twice, as 'a' before; expected keys that differ in more than case");
  EXPECT_EQ(complaint(R"({"a": []})"), "1:7: the name 'a' has no address; expected at least one");
}

TEST_F(ATableOfNames, HasAddressesThatOneCanConnectTo) {
  EXPECT_EQ(complaint(R"({"a": ["tcp://h:1", "tcp://*:2"]})"),
            "1:21: the address 'tcp://*:2' is none of a peer; expected a host and a port");
  EXPECT_EQ(complaint(R"({"a": "tcp://h:*"})"),
            "1:7: the address 'tcp://h:*' is none of a peer; expected a host and a port");
  EXPECT_NE(complaint(R"({"a": "tcp://h"})").find("1:7: "), std::string::npos);
  EXPECT_NE(complaint(R"({"a": "station"})").find("'station'"), std::string::npos);
}

TEST_F(ATableOfNames, MayNameKeys) {
  const auto table = read(R"({"station": ["tcp://h:1#alice", "tcp://h:1#bob"], "dock": "ipc:///run/dock#1"})");
  EXPECT_EQ(table.addresses,
            (Addresses{{"station", {"tcp://h:1#alice", "tcp://h:1#bob"}}, {"dock", {"ipc:///run/dock#1"}}}));
  const std::string expected = "expected 1 to 64 letters, digits, '.', '_' and '-', and no '.' at the beginning";
  EXPECT_EQ(complaint(R"({"a": ["tcp://h:1", "tcp://h:1#"]})"),
            "1:21: malformed endpoint 'tcp://h:1#': '' is no name of a key; " + expected);
  EXPECT_EQ(complaint(R"({"a": "tcp://h:1#.b"})"),
            "1:7: malformed endpoint 'tcp://h:1#.b': '.b' is no name of a key; " + expected);
  EXPECT_EQ(complaint(R"({"a": "tcp://*:1#b"})"),
            "1:7: the address 'tcp://*:1#b' is none of a peer; expected a host and a port");
}

TEST_F(ATableOfNames, NamesThePlaceOfTextThatIsNoJson) {
  EXPECT_EQ(complaint("{\"a\" 1}").find("1:6: syntax error"), 0u) << complaint("{\"a\" 1}");
}

}  // namespace spf::test
