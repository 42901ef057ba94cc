#include <cppmicroservices/LDAPFilter.h>
#include <gmock/gmock.h>

#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using cppmicroservices::LDAPFilter;

std::string normalised(const std::string& text) {
  return LDAPFilter(text).ToString();
}

std::string nested(int depth) {
  std::string text;
  for (int i = 1; i < depth; ++i) {
    text += "(!";
  }
  return text + "(a=1)" + std::string(static_cast<std::size_t>(depth - 1), ')');
}

TEST(ADefaultFilter, MatchesNothing) {
  const LDAPFilter sut;

  EXPECT_FALSE(sut);
  EXPECT_EQ(sut.ToString(), "");
  EXPECT_FALSE(sut.Match(AnyMap()));
  EXPECT_FALSE(sut.MatchCase(AnyMap(AnyMap::ORDERED_MAP, {{"k", Any(1)}, {"K", Any(1)}})));
  EXPECT_TRUE(sut == LDAPFilter());
  EXPECT_FALSE(sut == LDAPFilter("(a=b)"));
}

TEST(AFilter, IsTrueAndPrintable) {
  const LDAPFilter sut("(a=b)");
  std::ostringstream out;
  out << sut;

  EXPECT_TRUE(sut);
  EXPECT_EQ(out.str(), "(a=b)");
}

TEST(AFilter, HasNoInsignificantBlanks) {
  EXPECT_EQ(normalised("  ( a =b)  "), "(a=b)");
  EXPECT_EQ(normalised("( & (a=b)\n( c =d) )"), "(&(a=b)(c=d))");
  EXPECT_EQ(normalised("(! (a=b) )"), "(!(a=b))");
  EXPECT_EQ(normalised("\n(a\t=b)"), "(a=b)");
}

TEST(AFilter, KeepsTheBlanksInValues) {
  EXPECT_EQ(normalised("( a = b )"), "(a= b )");
  EXPECT_EQ(normalised("(a b= )"), "(a b= )");
  EXPECT_EQ(normalised("(a=b\n)"), "(a=b\n)");
}

TEST(AFilter, KeepsEveryOperator) {
  for (const std::string text : {"(a=b)", "(a~=b)", "(a>=b)", "(a<=b)", "(a=*)", "(a=*b*c**)", "(a=)", "(a==b)",
                                 "(a!=b)", "(&(a=b)(|(c=d)(!(e=f))))", "(&(a=b))", "(a.b=c)", "(a*=b)", "(a&b=c)"}) {
    EXPECT_EQ(normalised(text), text);
  }
}

TEST(AFilter, EscapesTheSpecialCharactersOfAValue) {
  EXPECT_EQ(normalised("(a=(x))"), "(a=\\(x\\))");
  EXPECT_EQ(normalised("(a=x(y)z)"), "(a=x\\(y\\)z)");
  EXPECT_EQ(normalised("(a=\\(\\*\\\\)"), "(a=\\(\\*\\\\)");
}

TEST(AFilter, KnowsNoOtherEscapesThanABackslash) {
  EXPECT_EQ(normalised("(a=b\\c)"), "(a=bc)");
  EXPECT_EQ(normalised("(a=\\28)"), "(a=28)");
  EXPECT_EQ(normalised("(a=\x7f)"), "(a=*)");
  EXPECT_EQ(normalised("(a=\\\x7f)"), "(a=*)");
}

TEST(AFilter, EqualsOneWithTheSameText) {
  EXPECT_TRUE(LDAPFilter("(a=b)") == LDAPFilter("( a =b)"));
  EXPECT_FALSE(LDAPFilter("(a=b)") == LDAPFilter("(A=b)"));
  EXPECT_FALSE(LDAPFilter("(&(a=b)(c=d))") == LDAPFilter("(&(c=d)(a=b))"));
}

TEST(AFilter, IsNotMadeOfALiteralByAccident) {
  EXPECT_FALSE((std::is_convertible_v<const char*, LDAPFilter>));
  EXPECT_TRUE((std::is_convertible_v<std::string, LDAPFilter>));
}

TEST(AFilter, MayBeCopiedAndAssigned) {
  LDAPFilter sut;
  {
    const LDAPFilter original("(a=b)");
    const LDAPFilter copy(original);
    sut = copy;
  }
  EXPECT_EQ(sut.ToString(), "(a=b)");
  EXPECT_TRUE(sut.Match(AnyMap{{"a", Any(std::string("b"))}, {"c", Any(1)}}));
}

class ABadFilter : public testing::TestWithParam<std::pair<std::string, std::string>> {};

TEST_P(ABadFilter, IsRefusedWithTheReason) {
  const auto& [text, message] = GetParam();
  EXPECT_THAT([filter = text] { LDAPFilter{filter}; }, testing::ThrowsMessage<std::invalid_argument>(message));
}

INSTANTIATE_TEST_SUITE_P(
    OfEachKind, ABadFilter,
    testing::Values(std::pair("", "Null query: "), std::pair(" ", "Unexpected end of query: "),
                    std::pair("(", "Unexpected end of query: "), std::pair("(a", "Unexpected end of query: "),
                    std::pair("(a=b", "Unexpected end of query: "), std::pair("(a=b\\)", "Unexpected end of query: "),
                    std::pair("(a=x(y)", "Unexpected end of query: "),
                    std::pair("(!(a=b)", "Unexpected end of query: "), std::pair("()", "Malformed query: )"),
                    std::pair("a=b", "Malformed query: a=b"), std::pair("(=b)", "Malformed query: =b)"),
                    std::pair("( =b)", "Malformed query: =b)"), std::pair("(&)", "Malformed query: )"),
                    std::pair("(!)", "Malformed query: )"), std::pair("(!(a=b)(c=d))", "Malformed query: "),
                    std::pair("((a=b))", "Malformed query: (a=b))"), std::pair("(&a=b)", "Malformed query: a=b)"),
                    std::pair("(&(a=b)c)", "Malformed query: c)"), std::pair("(a>b)", "Undefined operator: >b)"),
                    std::pair("(a<)", "Undefined operator: <)"), std::pair("(a~b=c)", "Undefined operator: ~b=c)"),
                    std::pair("(a)", "Undefined operator: )"), std::pair("(a(b=c))", "Undefined operator: (b=c))"),
                    std::pair("(a=b)x", "Trailing garbage 'x': x"),
                    std::pair("(a=b) (c=d)", "Trailing garbage ' (c=d)':  (c=d)"),
                    std::pair("(a=b))", "Trailing garbage ')': )")));

TEST(ADeepFilter, MatchesAtAThousandLevels) {
  const LDAPFilter sut(nested(1000));

  EXPECT_TRUE(sut.Match(AnyMap{{"b", Any(1)}, {"c", Any(1)}}));
  EXPECT_EQ(sut.ToString(), nested(1000));
}

#ifdef SPF_RUNTIME_BUNDLED
TEST(ADeepFilter, IsRefusedAtAHundredThousandLevels) {
  EXPECT_THAT([] { LDAPFilter{nested(100000)}; },
              testing::ThrowsMessage<std::invalid_argument>(testing::StartsWith("Query nested deeper than 2000: (")));
  EXPECT_THROW(LDAPFilter{std::string(100000, '(')}, std::invalid_argument);
  EXPECT_NO_THROW(LDAPFilter{nested(2000)});
}
#endif

}  // namespace
