#include <gtest/gtest.h>

#include <future>

#include "agent/spf/frameworksetup/addRequiredRuntimeServiceProperties.hpp"
#include "spf/test/Gate.hpp"
#include "support/configurations.hpp"

namespace spf::test {

using agent::spf::frameworksetup::addRequiredRuntimeServiceProperties;
using boost::property_tree::ptree;

const std::string prefix = "spf::requiredServiceProperty::";

TEST(ARequiredRuntimeServiceProperty, WrittenTwiceLeavesOneNodeWithTheSecondValue) {
  ptree tree;
  addRequiredRuntimeServiceProperties(tree, "site", "north");
  addRequiredRuntimeServiceProperties(tree, "site", "south");
  ASSERT_EQ(tree.size(), 1u);
  EXPECT_EQ(tree.front().first, prefix + "site");
  EXPECT_EQ(tree.front().second.data(), "south");
}

TEST(ARequiredRuntimeServiceProperty, WithAnEmptyNameIsWrittenUnderThePrefixItself) {
  ptree tree;
  addRequiredRuntimeServiceProperties(tree, "", "value");
  ASSERT_EQ(tree.size(), 1u);
  EXPECT_EQ(tree.front().first, prefix);
  EXPECT_EQ(tree.front().second.data(), "value");
}

TEST(ARequiredRuntimeServiceProperty, WithAnEmptyValueCreatesOrKeepsTheNodeWithEmptyData) {
  ptree tree;
  addRequiredRuntimeServiceProperties(tree, "new", "");
  addRequiredRuntimeServiceProperties(tree, "old", "value");
  addRequiredRuntimeServiceProperties(tree, "old", "");
  ASSERT_EQ(tree.size(), 2u);
  EXPECT_EQ(tree.find(prefix + "new")->second.data(), "");
  EXPECT_EQ(tree.find(prefix + "old")->second.data(), "");
}

TEST(ARequiredRuntimeServiceProperty, WithAnEmptyValueIsPublishedAsTheEmptyTextUnlessItHasChildren) {
  FrameworkWithConfigurationAdmin framework;
  ptree tree;
  addRequiredRuntimeServiceProperties(tree, "leaf", "");
  addRequiredRuntimeServiceProperties(tree, "parent", "");
  addRequiredRuntimeServiceProperties(tree, "parent.child", "x");
  const auto configuration = SPFConfigurationBuilder("empty").addServiceInterface("i", "n", tree).build();
  const auto properties = framework.configuration("empty");
  const auto& map = asMap(entryIn(*properties, "serviceConfigurations", "i").at("requestedProperties"));
  EXPECT_EQ(asText(map.at(prefix + "leaf")), "");
  EXPECT_EQ(asText(asMap(map.at(prefix + "parent")).at("child")), "x");
}

TEST(ARequiredRuntimeServiceProperty, WithADotInItsNameCreatesNestedLevels) {
  ptree tree;
  addRequiredRuntimeServiceProperties(tree, "a.b", "value");
  ASSERT_EQ(tree.size(), 1u);
  EXPECT_EQ(tree.front().first, prefix + "a");
  ASSERT_EQ(tree.front().second.size(), 1u);
  EXPECT_EQ(tree.front().second.front().first, "b");
  EXPECT_EQ(tree.front().second.front().second.data(), "value");
}

TEST(ARequiredRuntimeServiceProperty, WrittenBelowOneWithDataLeavesBothAndPublishesTheData) {
  FrameworkWithConfigurationAdmin framework;
  ptree tree;
  addRequiredRuntimeServiceProperties(tree, "a", "data");
  addRequiredRuntimeServiceProperties(tree, "a.b", "child");
  ASSERT_EQ(tree.size(), 1u);
  EXPECT_EQ(tree.front().second.data(), "data");
  EXPECT_EQ(tree.front().second.get_child("b").data(), "child");

  const auto configuration = SPFConfigurationBuilder("both").addServiceInterface("i", "n", tree).build();
  const auto properties = framework.configuration("both");
  const auto& map = asMap(entryIn(*properties, "serviceConfigurations", "i").at("requestedProperties"));
  EXPECT_EQ(asText(map.at(prefix + "a")), "data");
}

TEST(ARequiredRuntimeServiceProperty, WithADotAtItsEndIsAnEmptyKeyWhereTheNodeIsMissing) {
  ptree tree;
  addRequiredRuntimeServiceProperties(tree, "a.", "1");
  ASSERT_EQ(tree.size(), 1u);
  EXPECT_EQ(tree.front().second.data(), "");
  ASSERT_EQ(tree.front().second.size(), 1u);
  EXPECT_EQ(tree.front().second.front().first, "");
  EXPECT_EQ(tree.front().second.front().second.data(), "1");
}

TEST(ARequiredRuntimeServiceProperty, WithADotAtItsEndIsTheNodeBeforeItWhereThatExists) {
  ptree tree;
  addRequiredRuntimeServiceProperties(tree, "a", "0");
  addRequiredRuntimeServiceProperties(tree, "a.", "1");
  ptree expected;
  expected.push_back({prefix + "a", ptree("1")});
  EXPECT_EQ(tree, expected);
}

TEST(ARequiredRuntimeServiceProperty, WithADotAtItsEndKeepsTheEmptyKeyWhenWrittenAgain) {
  for (const std::string name : {"a.", "a.b."}) {
    ptree tree;
    addRequiredRuntimeServiceProperties(tree, name, "1");
    addRequiredRuntimeServiceProperties(tree, name, "2");
    const auto& node = name == "a." ? tree.front().second : tree.front().second.front().second;
    EXPECT_EQ(node.data(), "2") << name;
    ASSERT_EQ(node.size(), 1u) << name;
    EXPECT_EQ(node.front().second.data(), "1") << name;
  }
}

TEST(ARequiredRuntimeServiceProperty, WithADotAtItsEndIsTheNestedNodeWhereThatExists) {
  ptree tree;
  addRequiredRuntimeServiceProperties(tree, "a.b", "1");
  addRequiredRuntimeServiceProperties(tree, "a.b.", "2");
  EXPECT_EQ(tree.front().second.get_child("b"), ptree("2"));
}

TEST(ARequiredRuntimeServiceProperty, OfDotsOnlyNestsEmptyKeys) {
  ptree tree;
  addRequiredRuntimeServiceProperties(tree, "..", "value");
  ASSERT_EQ(tree.size(), 1u);
  EXPECT_EQ(tree.front().first, prefix);
  EXPECT_EQ(tree.front().second.front().first, "");
  EXPECT_EQ(tree.front().second.front().second.front().first, "");
  EXPECT_EQ(tree.front().second.front().second.front().second.data(), "value");
}

TEST(ARequiredRuntimeServiceProperty, KeepsPositionAndChildrenOfANodeAndAppendsNewOnes) {
  ptree tree;
  addRequiredRuntimeServiceProperties(tree, "first.child", "kept");
  addRequiredRuntimeServiceProperties(tree, "second", "2");
  addRequiredRuntimeServiceProperties(tree, "first", "1");
  ASSERT_EQ(tree.size(), 2u);
  EXPECT_EQ(tree.front().first, prefix + "first");
  EXPECT_EQ(tree.front().second.data(), "1");
  EXPECT_EQ(tree.front().second.get_child("child").data(), "kept");
  EXPECT_EQ(tree.back().first, prefix + "second");
}

TEST(ARequiredRuntimeServiceProperty, GoesToTheFirstOfSeveralNodesWithItsKey) {
  ptree tree;
  tree.push_back({prefix + "twin", ptree("1")});
  tree.push_back({prefix + "twin", ptree("2")});
  addRequiredRuntimeServiceProperties(tree, "twin", "changed");
  ASSERT_EQ(tree.size(), 2u);
  EXPECT_EQ(tree.front().second.data(), "changed");
  EXPECT_EQ(tree.back().second.data(), "2");
}

TEST(ARequiredRuntimeServiceProperty, IsTheLastChildOfTheFirstOfSeveralNodesThatItIsNestedIn) {
  ptree twin;
  twin.push_back({"child", ptree("1")});
  ptree tree;
  tree.push_back({prefix + "twin", twin});
  tree.push_back({prefix + "twin", twin});
  tree.push_back({"other", ptree()});
  auto expected = tree;
  expected.front().second.push_back({"added", ptree("2")});
  addRequiredRuntimeServiceProperties(tree, "twin.added", "2");
  EXPECT_EQ(tree, expected);
}

// Each test has a process of its own under CTest: nobody has called the function there before.
TEST(ARequiredRuntimeServiceProperty, IsWrittenByManyThreadsAtOnceIntoTreesOfTheirOwn) {
  constexpr int number = 8;
  constexpr int properties = 500;
  const auto nameOf = [](int thread, int property) { return std::to_string(thread) + "-" + std::to_string(property); };
  Counter ready;
  Gate go;
  std::vector<std::future<ptree>> writers;
  for (int thread = 0; thread < number; ++thread) {
    writers.push_back(std::async(std::launch::async, [&, thread] {
      ptree tree;
      ready.add();
      EXPECT_TRUE(go.wait());
      for (int property = 0; property < properties; ++property) {
        addRequiredRuntimeServiceProperties(tree, nameOf(thread, property), nameOf(thread, property));
      }
      return tree;
    }));
  }
  EXPECT_TRUE(ready.waitFor(number));
  go.open();
  for (int thread = 0; thread < number; ++thread) {
    ptree expected;
    for (int property = 0; property < properties; ++property) {
      expected.push_back({prefix + nameOf(thread, property), ptree(nameOf(thread, property))});
    }
    EXPECT_TRUE(writers[thread].get() == expected) << thread;
  }
}

}  // namespace spf::test
