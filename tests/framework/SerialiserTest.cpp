#include "agent/spf/frameworkinterfaces/Serialiser.hpp"

#include <cmath>
#include <limits>
#include <list>

#include "support/RunningFramework.hpp"

namespace {

using agent::spf::frameworkinterfaces::Serialiser;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using testing::AllOf;
using testing::HasSubstr;

class AJsonSerialiser : public testing::Test {
 protected:
  std::string serialise(const Any& value) { return sut->serialise(AnyMap(AnyMap::ORDERED_MAP, {{"k", value}})); }

  Any deserialise(const std::string& value) { return sut->deserialise("{\"k\":" + value + "}").at("k"); }

  std::string errorOfSerialising(const Any& value) {
    try {
      serialise(value);
    } catch (const std::invalid_argument& error) {
      return error.what();
    }
    return "";
  }

  std::string errorOfDeserialising(const std::string& text) {
    try {
      sut->deserialise(text);
    } catch (const std::invalid_argument& error) {
      return error.what();
    }
    return "";
  }

  frameworktest::RunningFramework framework;
  const std::shared_ptr<Serialiser> sut = framework.service<Serialiser>();
};

TEST_F(AJsonSerialiser, WritesEveryScalar) {
  EXPECT_EQ(serialise(Any()), R"({"k":null})");
  EXPECT_EQ(serialise(true), R"({"k":true})");
  EXPECT_EQ(serialise(-42), R"({"k":-42})");
  EXPECT_EQ(serialise(42u), R"({"k":42})");
  EXPECT_EQ(serialise(std::numeric_limits<long>::min()), R"({"k":-9223372036854775808})");
  EXPECT_EQ(serialise(0.5), R"({"k":0.5})");
  EXPECT_EQ(serialise(0.5f), R"({"k":0.5})");
  EXPECT_EQ(serialise(std::string("a\"b")), R"({"k":"a\"b"})");
}

TEST_F(AJsonSerialiser, WritesListsAndMaps) {
  EXPECT_EQ(serialise(std::vector<Any>{1, std::string("x"), std::vector<Any>{}}), R"({"k":[1,"x",[]]})");
  EXPECT_EQ(serialise(std::vector<std::string>{"a", "b"}), R"({"k":["a","b"]})");
  EXPECT_EQ(serialise(AnyMap(AnyMap::ORDERED_MAP, {{"x", AnyMap()}})), R"({"k":{"x":{}}})");
  EXPECT_EQ(sut->serialise(AnyMap()), "{}");
}

TEST_F(AJsonSerialiser, NamesTheKeyOfAnUnsupportedValue) {
  EXPECT_THAT(errorOfSerialising(std::vector<Any>{1, AnyMap(AnyMap::ORDERED_MAP, {{"x", std::list<int>{1}}})}),
              HasSubstr("'k[1].x'"));
  EXPECT_THAT(errorOfSerialising(std::nan("")), HasSubstr("'k'"));
  EXPECT_THAT(errorOfSerialising(std::numeric_limits<float>::infinity()), HasSubstr("'k'"));
}

TEST_F(AJsonSerialiser, RefusesTextsThatAreNotUtf8) {
  EXPECT_THAT(errorOfSerialising(std::string("\xff")), HasSubstr("UTF-8"));
}

TEST_F(AJsonSerialiser, ReadsEveryScalar) {
  EXPECT_TRUE(deserialise("null").Empty());
  EXPECT_TRUE(deserialise("true") == true);
  EXPECT_TRUE(deserialise("-42") == -42);
  EXPECT_TRUE(deserialise("2147483647") == 2147483647);
  EXPECT_TRUE(deserialise("2147483648") == 2147483648L);
  EXPECT_TRUE(deserialise("-2147483649") == -2147483649L);
  EXPECT_TRUE(deserialise("-2147483648") == std::numeric_limits<int>::min());
  EXPECT_TRUE(deserialise("9223372036854775808") == 9223372036854775808.0);
  EXPECT_TRUE(deserialise("0.5") == 0.5);
  EXPECT_TRUE(deserialise("\"x\\u00e4\"") == std::string("x\xc3\xa4"));
}

TEST_F(AJsonSerialiser, ReadsBackWhatItWrote) {
  AnyMap inner(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
  inner["list"] = std::vector<Any>{1, 2.5, std::string("x"), std::vector<Any>{false}};
  AnyMap outer(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
  outer["inner"] = inner;
  outer["text"] = std::string("y");
  EXPECT_TRUE(sut->deserialise(sut->serialise(outer)) == outer);
}

TEST_F(AJsonSerialiser, CreatesMapsThatIgnoreTheCaseOfTheirKeys) {
  EXPECT_TRUE(sut->deserialise(R"({"Key":{"Inner":1}})").AtCompoundKey("KEY.INNER") == 1);
}

TEST_F(AJsonSerialiser, NamesThePositionOfAnError) {
  EXPECT_THAT(errorOfDeserialising("{\"a\": }"), AllOf(HasSubstr("no JSON"), HasSubstr("column 7")));
  EXPECT_THAT(errorOfDeserialising(""), HasSubstr("no JSON"));
  EXPECT_THAT(errorOfDeserialising("{} x"), HasSubstr("no JSON"));
  EXPECT_THAT(errorOfDeserialising("[1]"), HasSubstr("expected an object, found array"));
}

TEST_F(AJsonSerialiser, RefusesTextsThatAreNestedTooDeeply) {
  const auto nested = [](std::size_t levels) {
    return "{\"k\":" + std::string(levels, '[') + std::string(levels, ']') + "}";
  };
  EXPECT_EQ(errorOfDeserialising(nested(90)), "");
  EXPECT_THAT(errorOfDeserialising(nested(100000)), HasSubstr("levels deep"));
}

}  // namespace
