#include <gtest/gtest.h>

#include <string>

#include "control/ControlFolder.hpp"

namespace spf::test {

namespace {

class TheNameOfAHost : public testing::TestWithParam<std::string> {};
class NoNameOfAHost : public testing::TestWithParam<std::string> {};

}  // namespace

TEST_P(TheNameOfAHost, IsAccepted) {
  EXPECT_TRUE(spfctl::isHostName(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Text, TheNameOfAHost,
                         testing::Values("a", "Z", "7", "_", "-", "weather", "a.b-c_D.9", "a.", std::string(64, 'x')));

TEST_P(NoNameOfAHost, IsRefused) {
  EXPECT_FALSE(spfctl::isHostName(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Text, NoNameOfAHost,
                         testing::Values("", ".", "..", ".hidden", "a/b", "/a", "a b", "a\n", "a*", "\xc3\xa4",
                                         std::string("a\0b", 3), std::string(65, 'x')));

}  // namespace spf::test
