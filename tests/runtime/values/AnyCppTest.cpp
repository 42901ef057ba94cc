#include <cppmicroservices/AnyMap.h>
#include <gmock/gmock.h>

#include <functional>
#include <list>
#include <map>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace shapes {

/// A type that defines how it is printed.
struct Square {
  int side = 2;
  bool operator==(const Square& other) const { return side == other.side; }
};

std::ostream& operator<<(std::ostream& out, const Square&) {
  return out << "streamed";
}
std::ostream& any_value_to_string(std::ostream& out, const Square& square) {
  return out << "square of " << square.side;
}
std::ostream& any_value_to_json(std::ostream& out, const Square& square, std::uint8_t, std::int32_t) {
  return out << "{\"side\" : " << square.side << "}";
}
std::ostream& any_value_to_cpp(std::ostream& out, const Square& square, std::uint8_t, std::int32_t) {
  return out << "Square{" << square.side << "}";
}

}  // namespace shapes

namespace {

using namespace cppmicroservices;

const std::string indented = R"(AnyMap { ORDERED_MAP, {
        {"k" , 1}, 
        {"l" , AnyMap { UNORDERED_MAP, {
                {"x" , true}
        }}}
}})";

TEST(TheCppOfAnAny, ContainsScalarsAsLiterals) {
  EXPECT_EQ(Any(-5).ToCPP(), "-5");
  EXPECT_EQ(Any(true).ToCPP(), "true");
  EXPECT_EQ(Any(0.1f).ToCPP(), "0.10000000149");
  EXPECT_EQ(Any(std::string("a\"\\\n\t\x01")).ToCPP(), "std::string(\"a\\\"\\\\\\n\\t\\u0001\")");
  EXPECT_EQ(Any().ToCPP(), "null");
  EXPECT_EQ(Any(std::function<void()>()).ToCPP(), "");
}

TEST(TheCppOfAnAny, QuotesNothingButStrings) {
  EXPECT_EQ(Any('x').ToCPP(), "x");
  EXPECT_EQ(Any(static_cast<const char*>("text")).ToCPP(), "text");
  EXPECT_EQ(Any(std::map<std::string, std::string>{{"k", "v"}}).ToCPP(), "AnyMap { ORDERED_MAP, {{\"k\" , v}}}");
}

TEST(TheCppOfAnAny, ContainsSequencesAsOneTypeOfVector) {
  EXPECT_EQ(Any(std::vector<std::string>{"a", "b"}).ToCPP(), "AnyVector {{std::string(\"a\"),std::string(\"b\")}}");
  EXPECT_EQ(Any(std::vector<Any>{1, Any()}).ToCPP(), "AnyVector {{1,null}}");
  EXPECT_EQ(Any(std::list<int>()).ToCPP(), "AnyVector {{}}");
  EXPECT_EQ(Any(std::set<int>{1}).ToCPP(), "AnyVector {{1}}");
  EXPECT_EQ(Any(std::vector<int>{1, 2}).ToCPP(true), "AnyVector {{\n    1,\n    2\n}}");
}

TEST(TheCppOfAnAny, NamesTheTypeOfMaps) {
  EXPECT_EQ(Any(AnyMap({{"k", 1}})).ToCPP(), "AnyMap { UNORDERED_MAP_CASEINSENSITIVE_KEYS, {{\"k\" , 1}}}");
  EXPECT_EQ(Any(AnyMap(AnyMap::UNORDERED_MAP)).ToCPP(), "AnyMap { UNORDERED_MAP, {}}");
  EXPECT_EQ(Any(std::map<std::string, Any>{{"a", 1}, {"b", Any()}}).ToCPP(),
            "AnyMap { ORDERED_MAP, {{\"a\" , 1}, {\"b\" , null}}}");
}

TEST(TheCppOfAnAny, IndentsTheEntriesOfItsOwnMapsTwice) {
  const AnyMap inner(AnyMap::UNORDERED_MAP, {{"x", true}});
  EXPECT_EQ(Any(AnyMap(AnyMap::ORDERED_MAP, {{"k", 1}, {"l", inner}})).ToCPP(true), indented);
  EXPECT_EQ(Any(std::map<std::string, Any>{{"a", 1}}).ToCPP(2, 1), "AnyMap { ORDERED_MAP, {\n {\"a\" , 1}\n}}");
}

TEST(AnOwnType, MayDefineHowItIsPrinted) {
  const Any any = shapes::Square{3};
  EXPECT_EQ(any.ToString(), "square of 3");
  EXPECT_EQ(any.ToJSON(), "{\"side\" : 3}");
  EXPECT_EQ(any.ToCPP(), "Square{3}");
}

TEST(AnOwnType, IsPrintedInItsOwnWayInsideOfASequence) {
  const Any any = std::vector<shapes::Square>(2);
  EXPECT_EQ(any.ToString(), "[square of 2,square of 2]");
  EXPECT_EQ(any.ToJSON(), "[{\"side\" : 2},{\"side\" : 2}]");
  EXPECT_EQ(any.ToCPP(), "AnyVector {{Square{2},Square{2}}}");
}

TEST(AValue, IsStreamedAsInAnAny) {
  std::ostringstream out;
  any_value_to_string(out, std::string("s")) << ' ';
  any_value_to_string(out, Any(3)) << ' ';
  any_value_to_json(out, std::string("s"), 0, 0) << ' ';
  any_value_to_json(out, true, 0, 0) << ' ';
  any_value_to_json(out, Any(), 0, 0) << ' ';
  any_value_to_json(out, 7) << ' ';
  any_value_to_cpp(out, Any(std::string("x")), 0, 0) << ' ';
  any_value_to_cpp(out, AnyMap({{"a", 1}}), 0, 0);
  EXPECT_EQ(out.str(),
            "s 3 \"s\" true null 7 std::string(\"x\") AnyMap { UNORDERED_MAP_CASEINSENSITIVE_KEYS, {{\"a\" , 1}}}");
  EXPECT_THROW(any_value_to_string(out, Any()), std::logic_error);
}

}  // namespace
