#include "AllowedAskers.hpp"

#include <stdexcept>
#include <string>
#include <vector>

#include <cppmicroservices/AnyMap.h>
#include <gtest/gtest.h>

namespace {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using spf::publishers::AllowedAskers;
using List = std::vector<Any>;

Any text(const std::string& value) {
  return value;
}

AnyMap exact(std::initializer_list<AnyMap::value_type> entries) {
  return AnyMap(AnyMap::UNORDERED_MAP, entries);
}

AnyMap ignoringCase(std::initializer_list<AnyMap::value_type> entries) {
  return AnyMap(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS, entries);
}

/// Returns why an asker may not ask; empty if it may.
std::string refusal(const AllowedAskers& sut, const std::string& publisherID, const std::string& asker) {
  try {
    sut.require(publisherID, asker);
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

/// Returns why a property is of no use; empty if it is of use.
std::string problemOf(const Any& property) {
  try {
    AllowedAskers sut(property);
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

TEST(AllowedAskers, AreAllPeersWithoutTheProperty) {
  const AllowedAskers sut{Any()};
  EXPECT_EQ(refusal(sut, "station", "alice"), "");
  EXPECT_EQ(refusal(sut, "station", ""), "");
}

TEST(AllowedAskers, AreThoseOfThePublishersEntry) {
  const AllowedAskers sut{Any(exact({{"station", List{text("alice"), text("bob"), text("alice")}}}))};
  EXPECT_EQ(refusal(sut, "station", "alice"), "");
  EXPECT_EQ(refusal(sut, "station", "bob"), "");
  EXPECT_EQ(refusal(sut, "station", "carol"), "the publisher 'station' does not answer 'carol'");
}

TEST(AllowedAskers, MayBeOneText) {
  const AllowedAskers sut{Any(exact({{"station", text("alice")}}))};
  EXPECT_EQ(refusal(sut, "station", "alice"), "");
  EXPECT_EQ(refusal(sut, "station", "bob"), "the publisher 'station' does not answer 'bob'");
}

TEST(AllowedAskers, HaveNamesThatAreComparedExactly) {
  const AllowedAskers sut{Any(exact({{"station", text("alice")}}))};
  for (const auto* asker : {"Alice", "alice ", "alic", "alice.pub"}) {
    EXPECT_NE(refusal(sut, "station", asker), "") << asker;
  }
}

TEST(AllowedAskers, AreNeverPeersWithoutAKey) {
  for (const List& names : {List{text("alice")}, List{}}) {
    const AllowedAskers sut{Any(exact({{"station", names}}))};
    EXPECT_EQ(refusal(sut, "station", ""), "the publisher 'station' does not answer peers without a key");
  }
}

TEST(AllowedAskers, AreNobodyIfTheEntryIsEmpty) {
  const AllowedAskers sut{Any(exact({{"station", List{}}}))};
  EXPECT_EQ(refusal(sut, "station", "alice"), "the publisher 'station' does not answer 'alice'");
}

TEST(AllowedAskers, AreAllPeersOfAPublisherWithoutAnEntry) {
  const AllowedAskers sut{Any(exact({{"station", List{}}, {"gauge", text("alice")}}))};
  for (const auto* publisher : {"display", "station.1", "statio", ""}) {
    EXPECT_EQ(refusal(sut, publisher, "bob"), "") << publisher;
    EXPECT_EQ(refusal(sut, publisher, ""), "") << publisher;
  }
}

TEST(AllowedAskers, AreThoseOfEachPublisherAlone) {
  const AllowedAskers sut{Any(exact({{"station", text("alice")}, {"gauge", text("bob")}}))};
  EXPECT_EQ(refusal(sut, "station", "alice"), "");
  EXPECT_NE(refusal(sut, "station", "bob"), "");
  EXPECT_EQ(refusal(sut, "gauge", "bob"), "");
  EXPECT_NE(refusal(sut, "gauge", "alice"), "");
}

TEST(AllowedAskers, AreThoseOfThePublisherWithExactlyThatID) {
  const AllowedAskers sut{Any(exact({{"station", text("alice")}, {"Station", text("bob")}}))};
  EXPECT_EQ(refusal(sut, "station", "alice"), "");
  EXPECT_NE(refusal(sut, "Station", "alice"), "");
  EXPECT_EQ(refusal(sut, "Station", "bob"), "");
  EXPECT_NE(refusal(sut, "station", "bob"), "");
}

TEST(AllowedAskers, AreNotSharedByIDsThatDifferInCaseEvenIfTheMapIgnoresIt) {
  const AllowedAskers sut{Any(ignoringCase({{"Station", text("alice")}}))};
  EXPECT_EQ(refusal(sut, "Station", "alice"), "");
  EXPECT_NE(refusal(sut, "Station", "bob"), "");
  EXPECT_EQ(refusal(sut, "station", "bob"), "");
}

TEST(AllowedAskers, AreAMapOfNames) {
  for (const Any& property : {text("alice"), Any(List{text("alice")}), Any(true)}) {
    EXPECT_EQ(problemOf(property),
              "the framework property 'spf.curve.allow' is no map; expected a map of publishers' IDs to names of keys");
  }
}

TEST(AllowedAskers, HaveATextOrAListInEachEntry) {
  for (const Any& entry : {Any(), Any(1), Any(true), Any(exact({})), Any(std::vector<int>{1})}) {
    EXPECT_EQ(problemOf(exact({{"gauge", text("bob")}, {"station", entry}})),
              "the framework property 'spf.curve.allow': the entry 'station' is neither a text nor a list; expected a "
              "name of a key or a list of names");
  }
}

TEST(AllowedAskers, HaveTextsInEachList) {
  for (const Any& element : {Any(), Any(1), Any(List{text("alice")})}) {
    EXPECT_EQ(problemOf(exact({{"station", List{text("alice"), element}}})),
              "the framework property 'spf.curve.allow': the entry 'station' has an element that is no text; expected "
              "names of keys");
  }
}

TEST(AllowedAskers, HaveNamesOfKeysOnly) {
  for (const std::string& name : {std::string(), std::string("a b"), std::string(".a"), std::string("*"),
                                  std::string("a/b"), std::string(65, '_')}) {
    const std::string problem = "the framework property 'spf.curve.allow': the entry 'station' has '" + name +
                                "', which is no name of a key; expected 1 to 64 letters, digits, '.', '_' and '-', and "
                                "no '.' at the beginning";
    EXPECT_EQ(problemOf(exact({{"station", text(name)}})), problem);
    EXPECT_EQ(problemOf(exact({{"station", List{text("alice"), text(name)}}})), problem);
  }
}

TEST(AllowedAskers, AreNotShownIfTheyMayBeAKeyItself) {
  EXPECT_EQ(
      problemOf(exact({{"station", text("JTKVSB%%)wK0E.X)V>+}o?pNmC{O&4W4b!Ni{Lh6")}})),
      "the framework property 'spf.curve.allow': the entry 'station' has a text that may be a key, which is no name "
      "of a key; expected 1 to 64 letters, digits, '.', '_' and '-', and no '.' at the beginning");
}

}  // namespace
