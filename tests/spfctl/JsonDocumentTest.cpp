#include "file/JsonDocument.hpp"

#include <gtest/gtest.h>

namespace spf::test {

using namespace spfctl;

class AJsonDocument : public testing::Test {
 protected:
  static std::string complaint(const std::string& text) {
    try {
      JsonDocument("f.json", text);
    } catch (const FileError& error) {
      return error.what();
    }
    return "no complaint";
  }
  // Line and column of a value, as an error about it names them.
  static std::string placeOf(const JsonDocument& document, std::size_t offset) {
    return document.error(offset, "x").what();
  }
};

TEST_F(AJsonDocument, KeepsTheValuesAndTheirText) {
  const JsonDocument sut("f.json", R"({"a": [1, -2.50, 1e3, true, false, null, "t\"\u00e4"], "b": {}})");
  ASSERT_EQ(sut.root().kind, JsonValue::Kind::object);
  const auto& list = sut.root().members.at(0).value.elements;
  ASSERT_EQ(list.size(), 7u);
  EXPECT_EQ(list[0].text, "1");
  EXPECT_EQ(list[1].text, "-2.50");
  EXPECT_EQ(list[2].text, "1e3");
  EXPECT_EQ(list[3].text, "true");
  EXPECT_EQ(list[4].text, "false");
  EXPECT_EQ(list[5].text, "null");
  EXPECT_EQ(list[5].kind, JsonValue::Kind::null);
  EXPECT_EQ(list[6].text, "t\"\xC3\xA4");
  EXPECT_EQ(sut.root().members.at(1).value.kind, JsonValue::Kind::object);
}

TEST_F(AJsonDocument, KnowsWhereEveryValueAndKeyBegins) {
  const std::string text = "{\n \"a\\\\\": [12,\"x\\\"y\", true ,null],\n\"b\" : {} , \"c\":-1.5\n}";
  const JsonDocument sut("f.json", text);
  const auto& members = sut.root().members;
  EXPECT_EQ(sut.root().offset, 0u);
  EXPECT_EQ(text.substr(members[0].offset, 5), "\"a\\\\\"");
  const auto& list = members[0].value.elements;
  EXPECT_EQ(text.substr(list[0].offset, 2), "12");
  EXPECT_EQ(text.substr(list[1].offset, 6), "\"x\\\"y\"");
  EXPECT_EQ(text.substr(list[2].offset, 4), "true");
  EXPECT_EQ(text.substr(list[3].offset, 4), "null");
  EXPECT_EQ(text.substr(members[1].offset, 3), "\"b\"");
  EXPECT_EQ(text.substr(members[1].value.offset, 2), "{}");
  EXPECT_EQ(text.substr(members[2].value.offset, 4), "-1.5");
}

TEST_F(AJsonDocument, KnowsWhereANumberAtTheEndOfTheTextBegins) {
  const JsonDocument sut("f.json", "  42");
  EXPECT_EQ(sut.root().offset, 2u);
  EXPECT_EQ(sut.root().text, "42");
}

TEST_F(AJsonDocument, CountsColumnsInCharactersFromOne) {
  const JsonDocument sut("f.json", "[\n\"\xC3\xA4\xE2\x82\xAC\", 1]");
  EXPECT_EQ(placeOf(sut, 0), "f.json:1:1: x");
  EXPECT_EQ(placeOf(sut, sut.root().elements[0].offset), "f.json:2:1: x");
  EXPECT_EQ(placeOf(sut, sut.root().elements[1].offset), "f.json:2:7: x");
  EXPECT_EQ(placeOf(sut, 1000), "f.json:2:9: x");
}

TEST_F(AJsonDocument, AllowsComments) {
  const JsonDocument sut("f.json", "/* one */ { // two\n \"a\": /* three */ 1 }\n// four");
  EXPECT_EQ(sut.root().members.at(0).value.text, "1");
}

TEST_F(AJsonDocument, NamesThePlaceOfBrokenTextAndWhatWasExpected) {
  EXPECT_EQ(complaint("{\n  \"a\" 1\n}").find("f.json:2:7: "), 0u) << complaint("{\n  \"a\" 1\n}");
  EXPECT_NE(complaint("{\n  \"a\" 1\n}").find("expected ':'"), std::string::npos);
  EXPECT_EQ(complaint("[1, 2").find("f.json:1:"), 0u);
  EXPECT_NE(complaint("[1, 2").find("expected ']'"), std::string::npos);
  EXPECT_EQ(complaint("").find("f.json:1:1: "), 0u);
  EXPECT_NE(complaint("{} x").find("expected end of input"), std::string::npos);
  EXPECT_NE(complaint("{\"a\": tru}").find("f.json:1:"), std::string::npos);
}

TEST_F(AJsonDocument, RefusesANumberThatIsTooBigWhereItBegins) {
  EXPECT_EQ(complaint("[1, 1e999, 2]"), "f.json:1:5: number overflow parsing '1e999'");
  EXPECT_EQ(complaint("-1e999"), "f.json:1:1: number overflow parsing '-1e999'");
}

TEST_F(AJsonDocument, RefusesACommentThatIsNeverClosed) {
  const auto message = complaint("{} /* open");
  EXPECT_EQ(message.find("f.json:1:"), 0u) << message;
  EXPECT_NE(message.find("comment"), std::string::npos) << message;
}

TEST_F(AJsonDocument, RefusesTextThatIsNoUtf8) {
  EXPECT_NE(complaint("{\"a\": \"\xFF\"}").find("UTF-8"), std::string::npos);
}

TEST_F(AJsonDocument, RefusesAKeyThatIsGivenTwiceAtItsSecondPlace) {
  EXPECT_EQ(complaint("{\"a\": 1,\n \"b\": {\"a\": 2},\n \"a\": 3}"), "f.json:3:2: the key 'a' is given twice");
  EXPECT_EQ(complaint("{\"a\": 1, \"\\u0061\": 3}"), "f.json:1:10: the key 'a' is given twice");
}

TEST_F(AJsonDocument, RefusesNestingThatIsTooDeep) {
  const auto nested = [](std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); };
  EXPECT_EQ(complaint(nested(JsonDocument::deepest)), "no complaint");
  EXPECT_EQ(complaint(nested(JsonDocument::deepest + 1)), "f.json:1:257: nested deeper than 256 levels");
  EXPECT_EQ(complaint(std::string(1000000, '[')), "f.json:1:257: nested deeper than 256 levels");
}

}  // namespace spf::test
