#include "file/JsonDocument.hpp"

#include <gtest/gtest.h>

#include "support/firstFinding.hpp"

namespace spf::test {

using namespace spfctl;

class AJsonDocument : public testing::Test {
 protected:
  // The first error, with its line and column.
  static std::string complaint(const std::string& text) {
    Findings findings;
    const JsonDocument document(text, findings);
    return firstOf(findings, text);
  }
  static JsonDocument read(const std::string& text) {
    Findings findings;
    JsonDocument document(text, findings);
    EXPECT_EQ(firstOf(findings, text), "no complaint");
    EXPECT_TRUE(document.isComplete());
    return document;
  }
};

TEST_F(AJsonDocument, KeepsTheValuesAndTheirText) {
  const auto sut = read(R"({"a": [1, -2.50, 1e3, true, false, null, "t\"\u00e4"], "b": {}})");
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
  const auto sut = read(text);
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
  const auto sut = read("  42");
  EXPECT_EQ(sut.root().offset, 2u);
  EXPECT_EQ(sut.root().text, "42");
}

TEST_F(AJsonDocument, AllowsComments) {
  const auto sut = read("/* one */ { // two\n \"a\": /* three */ 1 }\n// four");
  EXPECT_EQ(sut.root().members.at(0).value.text, "1");
}

TEST_F(AJsonDocument, NamesThePlaceOfBrokenTextAndWhatWasExpected) {
  EXPECT_EQ(complaint("{\n  \"a\" 1\n}").find("2:7: "), 0u) << complaint("{\n  \"a\" 1\n}");
  EXPECT_NE(complaint("{\n  \"a\" 1\n}").find("expected ':'"), std::string::npos);
  EXPECT_EQ(complaint("[1, 2").find("1:"), 0u);
  EXPECT_NE(complaint("[1, 2").find("expected ']'"), std::string::npos);
  EXPECT_EQ(complaint("").find("1:1: "), 0u);
  EXPECT_NE(complaint("{} x").find("expected end of input"), std::string::npos);
  EXPECT_NE(complaint("{\"a\": tru}").find("1:"), std::string::npos);
}

TEST_F(AJsonDocument, RefusesANumberThatIsTooBigWhereItBegins) {
  EXPECT_EQ(complaint("[1, 1e999, 2]"), "1:5: number overflow parsing '1e999'; expected a number of at most 1.8e308");
  EXPECT_EQ(complaint("-1e999"), "1:1: number overflow parsing '-1e999'; expected a number of at most 1.8e308");
}

TEST_F(AJsonDocument, RefusesACommentThatIsNeverClosed) {
  const auto message = complaint("{} /* open");
  EXPECT_EQ(message.find("1:"), 0u) << message;
  EXPECT_NE(message.find("comment"), std::string::npos) << message;
}

TEST_F(AJsonDocument, RefusesTextThatIsNoUtf8) {
  EXPECT_NE(complaint("{\"a\": \"\xFF\"}").find("UTF-8"), std::string::npos);
}

TEST_F(AJsonDocument, RefusesAKeyThatIsGivenTwiceAtItsSecondPlace) {
  EXPECT_EQ(complaint("{\"a\": 1,\n \"b\": {\"a\": 2},\n \"a\": 3}"),
            "3:2: the key 'a' is given twice; expected it once");
  EXPECT_EQ(complaint("{\"a\": 1, \"\\u0061\": 3}"), "1:10: the key 'a' is given twice; expected it once");
}

TEST_F(AJsonDocument, GoesOnAfterAKeyThatIsGivenTwice) {
  Findings findings;
  const JsonDocument sut(R"({"a": 1, "a": 2, "b": {"c": 1, "c": 2}})", findings);
  EXPECT_TRUE(sut.isComplete());
  EXPECT_EQ(findings.errors(), 2u);
  EXPECT_EQ(sut.root().members.size(), 3u);
}

TEST_F(AJsonDocument, EndsAtBrokenText) {
  Findings findings;
  EXPECT_FALSE(JsonDocument(R"({"a": 1, "b" 2, "c" 3})", findings).isComplete());
  EXPECT_EQ(findings.errors(), 1u);
}

TEST_F(AJsonDocument, RefusesNestingThatIsTooDeep) {
  const auto nested = [](std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); };
  EXPECT_EQ(complaint(nested(JsonDocument::deepest)), "no complaint");
  EXPECT_EQ(complaint(nested(JsonDocument::deepest + 1)), "1:257: nested too deep; expected at most 256 levels");
  EXPECT_EQ(complaint(std::string(1000000, '[')), "1:257: nested too deep; expected at most 256 levels");
}

}  // namespace spf::test
