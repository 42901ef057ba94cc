#include <cppmicroservices/AnyMap.h>
#include <gmock/gmock.h>

#include <cmath>
#include <functional>
#include <limits>
#include <list>
#include <locale>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;

AnyMap ordered(std::initializer_list<AnyMap::value_type> entries) {
  return AnyMap(AnyMap::ORDERED_MAP, entries);
}

TEST(TheTextOfAnAny, HasScalarsAsTheyAreStreamed) {
  EXPECT_EQ(Any(std::string("a \"b\"")).ToString(), "a \"b\"");
  EXPECT_EQ(Any(static_cast<const char*>("text")).ToString(), "text");
  EXPECT_EQ(Any(-5).ToString(), "-5");
  EXPECT_EQ(Any(true).ToString(), "1");
  EXPECT_EQ(Any(false).ToString(), "0");
  EXPECT_EQ(Any('x').ToString(), "x");
  EXPECT_EQ(Any(static_cast<unsigned char>('A')).ToString(), "A");
  EXPECT_EQ(Any(std::function<void()>()).ToString(), "");
}

/// Makes streams separate the thousands of numbers while it lives.
class SeparatedThousands {
 public:
  SeparatedThousands() : before_(std::locale::global(std::locale(std::locale::classic(), new Separator))) {}
  ~SeparatedThousands() { std::locale::global(before_); }

 private:
  struct Separator : std::numpunct<char> {
    char do_thousands_sep() const override { return ','; }
    std::string do_grouping() const override { return "\3"; }
  };

  std::locale before_;
};

TEST(TheTextOfAnAny, FollowsTheGlobalLocale) {
  const SeparatedThousands locale;

  EXPECT_EQ(Any(1234567).ToString(), "1,234,567");
  EXPECT_EQ(Any(-1234567l).ToString(), "-1,234,567");
  EXPECT_EQ(Any(1234567).ToJSON(), "1,234,567");
  EXPECT_EQ(Any(std::vector<int>{1234}).ToString(), "[1,234]");
}

TEST(TheTextOfAnAny, HasTheLeastAndTheGreatestIntegers) {
  EXPECT_EQ(Any(std::numeric_limits<int>::min()).ToString(), "-2147483648");
  EXPECT_EQ(Any(std::numeric_limits<long>::min()).ToString(), "-9223372036854775808");
  EXPECT_EQ(Any(std::numeric_limits<long>::max()).ToJSON(), "9223372036854775807");
  EXPECT_EQ(Any(std::numeric_limits<unsigned long>::max()).ToString(), "18446744073709551615");
}

TEST(TheTextOfAnAny, HasFloatingPointNumbersWithTwelveDigits) {
  EXPECT_EQ(Any(0.1f).ToString(), "0.10000000149");
  EXPECT_EQ(Any(1.0 / 3.0).ToString(), "0.333333333333");
  EXPECT_EQ(Any(std::vector<double>{1.0 / 3.0}).ToString(), "[0.333333333333]");
}

TEST(TheTextOfAnAny, HasContainersInBrackets) {
  EXPECT_EQ(Any(std::vector<int>{1, 2}).ToString(), "[1,2]");
  EXPECT_EQ(Any(std::vector<bool>{true, false}).ToString(), "[1,0]");
  EXPECT_EQ(Any(std::list<std::string>{"a", "b"}).ToString(), "[a,b]");
  EXPECT_EQ(Any(std::set<char>{}).ToString(), "[]");
  EXPECT_EQ(Any(std::vector<Any>{Any(1), Any(std::vector<Any>{Any(true)})}).ToString(), "[1,[1]]");
}

TEST(TheTextOfAnAny, HasMapsInBraces) {
  EXPECT_EQ(Any(std::map<std::string, std::string>{{"k", "v"}, {"l", "w"}}).ToString(), "{k : v, l : w}");
  EXPECT_EQ(Any(std::map<int, Any>{{1, Any(0.1f)}}).ToString(), "{1 : 0.10000000149}");
  EXPECT_EQ(Any(ordered({{"k", Any(1)}, {"l", Any(ordered({}))}})).ToString(), "{k : 1, l : {}}");
}

TEST(TheTextOfAnAny, DoesNotExistForAnEmptyOne) {
  const auto says = testing::ThrowsMessage<std::logic_error>("empty any");

  EXPECT_THAT([] { Any().ToString(); }, says);
  EXPECT_THAT([] { Any(std::vector<Any>{Any()}).ToString(); }, says);
  EXPECT_THAT([] { Any(ordered({{"k", Any()}})).ToString(); }, says);
}

TEST(TheTextOfAnAny, IsEmptyForAnEmptyOneOnRequest) {
  EXPECT_EQ(Any().ToStringNoExcept(), "");
  EXPECT_EQ(Any(5).ToStringNoExcept(), "5");
  EXPECT_THROW(Any(std::vector<Any>{Any()}).ToStringNoExcept(), std::logic_error);
}

TEST(TheJsonOfAnAny, ContainsScalars) {
  EXPECT_EQ(Any().ToJSON(), "null");
  EXPECT_EQ(Any(true).ToJSON(), "true");
  EXPECT_EQ(Any(false).ToJSON(), "false");
  EXPECT_EQ(Any(5).ToJSON(), "5");
  EXPECT_EQ(Any(0.1).ToJSON(), "0.1");
  EXPECT_EQ(Any(std::nan("")).ToJSON(), "nan");
}

TEST(TheJsonOfAnAny, EscapesTheSpecialCharactersOfAString) {
  EXPECT_EQ(Any(std::string("\"\\/\b\f\n\r\t\x01\x1f\x7f\xc3\xa4")).ToJSON(),
            "\"\\\"\\\\/\\b\\f\\n\\r\\t\\u0001\\u001f\x7f\xc3\xa4\"");
  EXPECT_EQ(Any(std::string("\n")).ToJSON(), "\"\\n\"");
  EXPECT_EQ(Any(std::string("\0a", 2)).ToJSON(), "\"\\u0000a\"");
  EXPECT_EQ(Any(std::string()).ToJSON(), "\"\"");
}

TEST(TheJsonOfAnAny, EscapesTheStringsOfContainersAlike) {
  const std::string special = "a\"\\b\n\x01 c\t";
  const auto text = Any(special).ToJSON();

  EXPECT_EQ(text, "\"a\\\"\\\\b\\n\\u0001 c\\t\"");
  EXPECT_EQ(Any(std::vector<std::string>{special, ""}).ToJSON(), "[" + text + ",\"\"]");
  EXPECT_EQ(Any(std::vector<Any>{Any(special)}).ToJSON(), "[" + text + "]");
}

TEST(TheJsonOfAnAny, QuotesStringsOnly) {
  EXPECT_EQ(Any(static_cast<const char*>("text")).ToJSON(), "text");
  EXPECT_EQ(Any('x').ToJSON(), "x");
  EXPECT_EQ(Any(std::map<std::string, std::string>{{"k", "v"}}).ToJSON(), "{\"k\" : v}");
}

TEST(TheJsonOfAnAny, ContainsContainers) {
  EXPECT_EQ(Any(std::vector<Any>{Any(1), Any(std::string("x")), Any()}).ToJSON(), "[1,\"x\",null]");
  EXPECT_EQ(Any(std::set<bool>{true}).ToJSON(), "[true]");
  EXPECT_EQ(Any(ordered({{"k", Any(true)}, {"l\"", Any(std::vector<Any>{})}})).ToJSON(),
            "{\"k\" : true, \"l\"\" : []}");
  EXPECT_EQ(Any(std::map<std::string, Any>{{"k", Any(std::string("v"))}}).ToJSON(), "{\"k\" : \"v\"}");
}

TEST(TheJsonOfAnAny, IndentsByFourBlanksForEachLevelOnRequest) {
  const auto map = ordered({{"k", Any(std::vector<Any>{Any(1), Any(std::vector<Any>{})})}, {"l", Any(ordered({}))}});

  EXPECT_EQ(Any(map).ToJSON(true),
            "{\n"
            "    \"k\" : [\n"
            "        1,\n"
            "        []\n"
            "    ], \n"
            "    \"l\" : {}\n"
            "}");
}

TEST(TheJsonOfAnAny, IndentsByTheGivenIncrement) {
  EXPECT_EQ(Any(std::vector<int>{1, 2}).ToJSON(2, 3), "[\n   1,\n   2\n ]");
  EXPECT_EQ(Any(std::vector<int>{1, 2}).ToJSON(2, 0), "[\n1,\n2\n]");
  EXPECT_EQ(Any(std::vector<int>{1, 2}).ToJSON(0, 5), "[1,2]");
}

}  // namespace
