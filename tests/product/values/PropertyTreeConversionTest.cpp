#include <numeric>
#include <sstream>

#include <boost/property_tree/json_parser.hpp>

#include "agent/spf/frameworksetup/addRequiredRuntimeServiceProperties.hpp"
#include "support/configurations.hpp"

namespace spf::test {

using boost::property_tree::ptree;

class AConvertedPropertyTree : public testing::Test {
 protected:
  // The tree as Configuration Admin gets it.
  const AnyMap& converted(const ptree& tree) {
    configuration_ = SPFConfigurationBuilder().addServiceInterface("i", "n", tree).build();
    properties_ = framework_.configuration(configuration_.getConfigurationID());
    return asMap(entryIn(*properties_, "serviceConfigurations", "i").at("requestedProperties"));
  }
  std::string keyFor(const std::string& key) {
    ptree tree;
    tree.push_back({key, ptree("value")});
    return converted(tree).begin()->first;
  }

  FrameworkWithConfigurationAdmin framework_;
  SPFConfiguration configuration_;
  std::unique_ptr<AnyMap> properties_;
};

TEST_F(AConvertedPropertyTree, HasOneEmptyKeyWithTheLastValueForAnArray) {
  std::istringstream json(R"({"list": ["a", "b", "c"]})");
  ptree tree;
  read_json(json, tree);
  const auto& list = asMap(converted(tree).at("list"));
  EXPECT_EQ(list.size(), 1u);
  EXPECT_EQ(asText(list.at("")), "c");
}

TEST_F(AConvertedPropertyTree, HasOneEntryUnderTheFirstKeyForKeysThatDifferInCase) {
  ptree tree;
  tree.push_back({"Port", ptree("1")});
  tree.push_back({"port", ptree("2")});
  const auto& map = converted(tree);
  EXPECT_EQ(map.size(), 1u);
  EXPECT_EQ(map.begin()->first, "Port");
  EXPECT_EQ(asText(map.begin()->second), "2");
}

TEST_F(AConvertedPropertyTree, HasTheDataOfAChildThatHasDataAndChildren) {
  ptree tree;
  tree.put("node", "data");
  tree.put("node.child", "lost");
  EXPECT_EQ(asText(converted(tree).at("node")), "data");
}

TEST_F(AConvertedPropertyTree, HasTheEmptyTextForAChildWithNeitherDataNorChildren) {
  ptree tree;
  tree.push_back({"nothing", ptree()});
  EXPECT_EQ(asText(converted(tree).at("nothing")), "");
}

TEST_F(AConvertedPropertyTree, HasABackslashBeforeASlashAndTwoCharactersForATabInAKey) {
  EXPECT_EQ(keyFor("a/b"), "a\\/b");
  EXPECT_EQ(keyFor("a\tb"), "a\\tb");
}

TEST_F(AConvertedPropertyTree, HasRequiredServicePropertiesUnderUnchangedKeys) {
  ptree tree;
  agent::spf::frameworksetup::addRequiredRuntimeServiceProperties(tree, "site", "north");
  agent::spf::frameworksetup::addRequiredRuntimeServiceProperties(tree, "a/b", "escaped");
  const auto& map = converted(tree);
  EXPECT_EQ(asText(map.at("spf::requiredServiceProperty::site")), "north");
  EXPECT_EQ(asText(map.at("spf::requiredServiceProperty::a\\/b")), "escaped");
}

TEST_F(AConvertedPropertyTree, HasEveryByteOfAKeyAsJSONTextEscapesIt) {
  for (int code = 1; code < 256; ++code) {
    const char byte = static_cast<char>(code);
    std::string expected(1, byte);
    switch (byte) {
      case '\b':
        expected = "\\b";
        break;
      case '\f':
        expected = "\\f";
        break;
      case '\n':
        expected = "\\n";
        break;
      case '\r':
        expected = "\\r";
        break;
      case '\t':
        expected = "\\t";
        break;
      case '/':
        expected = "\\/";
        break;
      case '"':
        expected = "\\\"";
        break;
      case '\\':
        expected = "\\\\";
        break;
      default:
        if (code < 0x20) {
          std::ostringstream text;
          text << "\\u00" << (code < 16 ? "0" : "1") << "0123456789ABCDEF"[code % 16];
          expected = text.str();
        }
    }
    EXPECT_EQ(keyFor("x" + std::string(1, byte) + "y"), "x" + expected + "y") << "byte " << code;
  }
  EXPECT_EQ(keyFor(std::string("x\0y", 3)), "x\\u0000y");
}

TEST_F(AConvertedPropertyTree, HasValuesUnescapedAndAsText) {
  ptree tree;
  tree.put("text", "a/b\t\"\\");
  tree.put("number", 42);
  tree.put("flag", true);
  const auto& map = converted(tree);
  EXPECT_EQ(asText(map.at("text")), "a/b\t\"\\");
  EXPECT_EQ(asText(map.at("number")), "42");
  EXPECT_EQ(asText(map.at("flag")), "true");
}

TEST_F(AConvertedPropertyTree, IsEmptyForAnEmptyTreeAndIgnoresTheRootsOwnData) {
  EXPECT_TRUE(converted(ptree()).empty());
  EXPECT_TRUE(converted(ptree("root data")).empty());
}

TEST_F(AConvertedPropertyTree, NestsAsDeepAsTheTree) {
  constexpr int depth = 1000;
  ptree tree("leaf");
  for (int level = 0; level < depth; ++level) {
    ptree parent;
    parent.push_back({"n", ptree()})->second.swap(tree);
    tree.swap(parent);
  }
  const auto* map = &converted(tree);
  for (int level = 1; level < depth; ++level) {
    map = &asMap(map->at("n"));
  }
  EXPECT_EQ(asText(map->at("n")), "leaf");
}

TEST_F(AConvertedPropertyTree, HasAsManyEntriesAsTheTreeIsWide) {
  constexpr int width = 100000;
  ptree tree;
  for (int number = 0; number < width; ++number) {
    tree.push_back({"key " + std::to_string(number), ptree(std::to_string(number))});
  }
  const auto& map = converted(tree);
  EXPECT_EQ(map.size(), static_cast<std::size_t>(width));
  for (const int number : {0, 1, width / 2, width - 1}) {
    EXPECT_EQ(asText(map.at("KEY " + std::to_string(number))), std::to_string(number));
  }
}

TEST_F(AConvertedPropertyTree, HasAllBytesInOneKey) {
  std::string key;
  for (int code = 0; code < 256; ++code) {
    key += static_cast<char>(code);
  }
  const auto published = keyFor(key);
  EXPECT_EQ(published.size(), 256u + 5 * 27 + 5 + 3);
  EXPECT_EQ(published.substr(0, 12), "\\u0000\\u0001");
  EXPECT_EQ(published.back(), '\xFF');
}

TEST_F(AConvertedPropertyTree, ReplacesAMapByATextUnderAnEqualKeyAndTheOtherWayRound) {
  ptree nested;
  nested.put("inner", "1");
  ptree tree;
  tree.push_back({"a", nested});
  tree.push_back({"A", ptree("text")});
  tree.push_back({"b", ptree("text")});
  tree.push_back({"B", nested});
  const auto& map = converted(tree);
  EXPECT_EQ(asText(map.at("a")), "text");
  EXPECT_EQ(asText(asMap(map.at("b")).at("inner")), "1");
}

}  // namespace spf::test
