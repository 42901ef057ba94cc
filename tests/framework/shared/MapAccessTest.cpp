#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include "agent/spf/frameworksupport/findValue.hpp"
#include "agent/spf/frameworksupport/text.hpp"

namespace {

using agent::spf::frameworksupport::findValue;
using agent::spf::frameworksupport::text;
using cppmicroservices::AnyMap;
using testing::IsNull;
using testing::Pointee;

const AnyMap map(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS, {{"name", std::string("station")}, {"count", 42}});

TEST(ATextOfAMap, IsReturnedByItsKey) {
  EXPECT_EQ(text(map, "name"), "station");
  EXPECT_EQ(text(map, "NAME"), "station");
}

TEST(ATextOfAMap, HasToBeThere) {
  EXPECT_THROW(text(map, "unit"), std::out_of_range);
}

TEST(ATextOfAMap, HasToBeAText) {
  EXPECT_THROW(text(map, "count"), cppmicroservices::BadAnyCastException);
}

TEST(AValueOfAMap, IsFoundByKeyAndType) {
  EXPECT_THAT(findValue<std::string>(map, "name"), Pointee(std::string("station")));
  EXPECT_THAT(findValue<int>(map, "count"), Pointee(42));
}

TEST(AValueOfAMap, IsNullWithoutTheKeyOrOfAnotherType) {
  EXPECT_THAT(findValue<int>(map, "unit"), IsNull());
  EXPECT_THAT(findValue<int>(map, "name"), IsNull());
}

}  // namespace
