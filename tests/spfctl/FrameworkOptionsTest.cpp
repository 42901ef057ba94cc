#include "commands/frameworkOptions.hpp"

#include <gtest/gtest.h>

#include <vector>

#include <cppmicroservices/AnyMap.h>

#include "commands/CommandLine.hpp"

namespace spf::test {

using namespace spfctl;
using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;

class APropertyOfTheFramework : public testing::Test {
 protected:
  static std::map<std::string, Any> given(const std::vector<std::string>& properties) {
    std::vector<std::string> arguments = {"run"};
    for (const auto& property : properties) {
      arguments.insert(arguments.end(), {"--property", property});
    }
    arguments.emplace_back("file.json");
    const auto options = std::get<RunOptions>(parseCommandLine(arguments));
    EXPECT_EQ(options.file, "file.json");
    return options.properties;
  }
  static Any valueOf(const std::string& value) { return given({"p=" + value}).at("p"); }
  static std::string textOf(const std::string& value) { return any_cast<std::string>(valueOf(value)); }
  static std::string complaint(const std::vector<std::string>& properties) {
    try {
      given(properties);
    } catch (const UsageError& error) {
      return error.what();
    }
    return "no complaint";
  }
};

TEST_F(APropertyOfTheFramework, IsATextUnlessItLooksLikeAnObjectOrAList) {
  for (const auto* value : {"", "10", "true", "null", "\"quoted\"", " {}", "a=b", "x,y", "%%", "/path/to file", "-"}) {
    EXPECT_EQ(textOf(value), value);
  }
}

TEST_F(APropertyOfTheFramework, IsAMapForAnObject) {
  const auto map = any_cast<AnyMap>(valueOf(R"({"station": "tcp://h:1", "many": ["a", 2, true], "deep": {"x": 1.5}})"));
  EXPECT_EQ(map.size(), 3u);
  EXPECT_EQ(any_cast<std::string>(map.at("station")), "tcp://h:1");
  const auto list = any_cast<std::vector<Any>>(map.at("many"));
  ASSERT_EQ(list.size(), 3u);
  EXPECT_EQ(any_cast<std::string>(list[0]), "a");
  EXPECT_EQ(any_cast<int>(list[1]), 2);
  EXPECT_TRUE(any_cast<bool>(list[2]));
  EXPECT_EQ(any_cast<double>(any_cast<AnyMap>(map.at("deep")).at("x")), 1.5);
}

TEST_F(APropertyOfTheFramework, IsAListForAList) {
  const auto list = any_cast<std::vector<Any>>(valueOf(R"(["a,b", []])"));
  ASSERT_EQ(list.size(), 2u);
  EXPECT_EQ(any_cast<std::string>(list[0]), "a,b");
  EXPECT_TRUE(any_cast<std::vector<Any>>(list[1]).empty());
  EXPECT_TRUE(any_cast<AnyMap>(valueOf("{}")).empty());
}

TEST_F(APropertyOfTheFramework, StandsBesideOthers) {
  const auto properties = given({"spf.advertise=10.0.0.1", "spf.discovery.etcd.ttl=5", "a=[1]"});
  EXPECT_EQ(properties.size(), 3u);
  EXPECT_EQ(any_cast<std::string>(properties.at("spf.advertise")), "10.0.0.1");
  EXPECT_EQ(any_cast<std::string>(properties.at("spf.discovery.etcd.ttl")), "5");
}

TEST_F(APropertyOfTheFramework, IsThereOnlyIfItIsGiven) {
  EXPECT_TRUE(given({}).empty());
}

TEST_F(APropertyOfTheFramework, NeedsANameAndASignOfEquality) {
  EXPECT_EQ(complaint({"spf.advertise"}), "--property is 'spf.advertise'; expected NAME=VALUE");
  EXPECT_EQ(complaint({""}), "--property is ''; expected NAME=VALUE");
  EXPECT_EQ(complaint({"{}"}), "--property is '{}'; expected NAME=VALUE");
  EXPECT_EQ(complaint({"=x"}), "--property has the name ''; expected letters, digits, '.', '_' and '-'");
  EXPECT_EQ(complaint({"a b=x"}), "--property has the name 'a b'; expected letters, digits, '.', '_' and '-'");
  EXPECT_EQ(complaint({"[a]=[b]"}).find("--property has the name "), 0u);
}

TEST_F(APropertyOfTheFramework, IsGivenOnce) {
  EXPECT_EQ(complaint({"a=1", "b=2", "a=1"}), "--property a is given twice; expected it once");
}

TEST_F(APropertyOfTheFramework, IsNoneOfTheRuntime) {
  EXPECT_EQ(complaint({"org.cppmicroservices.framework.storage=/tmp"}),
            "--property org.cppmicroservices.framework.storage is for the host to set; expected a property that "
            "bundles read");
}

TEST_F(APropertyOfTheFramework, HasThePlaceOfBrokenJsonInItsMessage) {
  EXPECT_EQ(complaint({"p={\"a\": 1,}"}).find("--property p:1:9: syntax error"), 0u) << complaint({"p={\"a\": 1,}"});
  EXPECT_EQ(complaint({"p=[1,\n 2"}).find("--property p:2:3: "), 0u) << complaint({"p=[1,\n 2"});
  EXPECT_EQ(complaint({"p=[1] x"}).find("--property p:1:5: "), 0u) << complaint({"p=[1] x"});
  EXPECT_EQ(complaint({R"(p={"a": 1, "a": 2})"}), "--property p:1:10: the key 'a' is given twice; expected it once");
  EXPECT_EQ(complaint({R"(p={"a": 1, "A": 2})"}),
            "--property p:1:10: the key 'A' is given twice, as 'a' before; expected keys that differ in more than "
            "case");
}

}  // namespace spf::test
