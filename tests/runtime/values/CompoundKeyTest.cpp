#include <cppmicroservices/AnyMap.h>
#include <gmock/gmock.h>

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;

class ACompoundKey : public testing::Test {
 protected:
  ACompoundKey() {
    map["scalar"] = 5;
    map["map"] = AnyMap{{"key", Any(1)}, {"", Any(9)}, {"inner", Any(AnyMap{{"key", Any(3)}, {"other", Any(4)}})}};
    map["list"] =
        std::vector<Any>{Any(10), Any(AnyMap{{"key", Any(11)}, {"l", Any(1)}}), Any(std::vector<Any>{Any(1), Any(2)})};
    map["map.key"] = 77;
    map["lonely.key"] = 78;
    map["standard"] = std::map<std::string, Any>{{"key", Any(1)}};
    map["empty"] = Any();
  }

  Any orNone(const std::string& key) { return map.AtCompoundKey(key, Any(std::string("none"))); }

  AnyMap map;
  const Any none = std::string("none");
};

TEST_F(ACompoundKey, SelectsFromNestedMaps) {
  EXPECT_EQ(map.AtCompoundKey("scalar"), 5);
  EXPECT_EQ(map.AtCompoundKey("map.key"), 1);
  EXPECT_EQ(map.AtCompoundKey("map.inner.key"), 3);
  EXPECT_EQ(map.AtCompoundKey("map."), 9);
  EXPECT_EQ(orNone("map.inner.key"), 3);
  EXPECT_EQ(orNone("map."), 9);
}

TEST_F(ACompoundKey, SelectsFromVectorsByIndex) {
  EXPECT_EQ(map.AtCompoundKey("list.0"), 10);
  EXPECT_EQ(map.AtCompoundKey("list.1.key"), 11);
  EXPECT_EQ(map.AtCompoundKey("list.1x.key"), 11);
  EXPECT_EQ(map.AtCompoundKey("list.-1.1"), 2);
  EXPECT_EQ(map.AtCompoundKey("list.-3"), 10);
  EXPECT_EQ(orNone("list.-1.1"), 2);
  EXPECT_EQ(orNone("list.1.key"), 11);
}

TEST_F(ACompoundKey, FindsEmptyValues) {
  EXPECT_TRUE(map.AtCompoundKey("empty").Empty());
  EXPECT_TRUE(orNone("empty").Empty());
}

TEST_F(ACompoundKey, HasToExist) {
  for (const std::string key : {"", "missing", "missing.key", "map.missing", "map.inner.", "list.3", "list.-4",
                                "list.2.5", "list.99999999999", "list.1."}) {
    EXPECT_THROW(map.AtCompoundKey(key), std::out_of_range) << key;
  }
}

TEST_F(ACompoundKey, NeverSelectsAnEntryWithADotInItsKey) {
  EXPECT_EQ(map.at("lonely.key"), 78);
  EXPECT_THROW(map.AtCompoundKey("lonely.key"), std::out_of_range);
  EXPECT_EQ(orNone("lonely.key"), none);
}

TEST_F(ACompoundKey, SaysWhereItFailed) {
  const auto says = [](const std::string& start) {
    return testing::ThrowsMessage<std::out_of_range>(testing::StartsWith(start));
  };
  const AnyMap ordered(AnyMap::ORDERED_MAP);

  EXPECT_THAT([&] { map.AtCompoundKey("map.missing"); }, says("unordered_map::at"));
  EXPECT_THAT([&] { ordered.AtCompoundKey("missing"); }, says("map::at"));
  EXPECT_THAT([&] { map.AtCompoundKey("list.3"); }, says("vector::_M_range_check"));
  EXPECT_THAT([&] { map.AtCompoundKey("list.-4"); }, says("vector::_M_range_check"));
  EXPECT_THAT([&] { map.AtCompoundKey("list.99999999999"); }, says("stoi"));
}

TEST_F(ACompoundKey, NeedsANumberForAVector) {
  EXPECT_THAT([&] { map.AtCompoundKey("list.x"); }, testing::ThrowsMessage<std::invalid_argument>("stoi"));
  EXPECT_THROW(map.AtCompoundKey("list."), std::invalid_argument);
}

TEST_F(ACompoundKey, CannotSelectFromAnythingElse) {
  const auto says = [](const std::string& name) {
    return testing::ThrowsMessage<std::invalid_argument>("Unsupported Any type at '" + name + "' for dotted get");
  };

  EXPECT_THAT([&] { map.AtCompoundKey("scalar.key"); }, says("scalar"));
  EXPECT_THAT([&] { map.AtCompoundKey("map.key.more"); }, says("key"));
  EXPECT_THAT([&] { map.AtCompoundKey("list.0."); }, says("0"));
  EXPECT_THAT([&] { map.AtCompoundKey("standard.key"); }, says("standard"));
  EXPECT_THAT([&] { map.AtCompoundKey("empty.key"); }, says("empty"));
}

TEST_F(ACompoundKey, SelectsTheDefaultIfThereIsNoSuchValue) {
  for (const std::string key :
       {"", "missing", "missing.key", "map.missing", "map.inner.", "list.3", "list.-4", "list.-3", "list.2.5",
        "list.99999999999", "list.x", "list.", "scalar.key", "scalar.", "map.key.more", "standard.key", "empty.key"}) {
    EXPECT_EQ(orNone(key), none) << key;
  }
}

TEST_F(ACompoundKey, MayEndInADotAfterAnIndexIfThereIsADefault) {
  EXPECT_EQ(orNone("list.0."), 10);
  EXPECT_TRUE(orNone("list.1.").Type() == typeid(AnyMap));
}

}  // namespace
