#include "file/nearestName.hpp"

#include <gtest/gtest.h>

namespace spf::test {

using spfctl::nearestName;

const std::vector<std::string> names = {"uniqueID", "name", "importFilter", "exportFilter"};

TEST(TheNearestName, IsThatWithTheFewestErrors) {
  EXPECT_EQ(nearestName("uniqueId", names), "uniqueID");
  EXPECT_EQ(nearestName("nmae", names), "name");
  EXPECT_EQ(nearestName("nam", names), "name");
  EXPECT_EQ(nearestName("exportFiltre", names), "exportFilter");
  EXPECT_EQ(nearestName("imporFilter", names), "importFilter");
}

TEST(TheNearestName, IsNoneIfNothingIsNear) {
  EXPECT_EQ(nearestName("colour", names), "");
  EXPECT_EQ(nearestName("", names), "");
  EXPECT_EQ(nearestName("name", {}), "");
  EXPECT_EQ(nearestName(std::string(100000, 'n'), names), "");
}

}  // namespace spf::test
