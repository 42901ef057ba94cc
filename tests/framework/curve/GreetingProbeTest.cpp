#include "GreetingProbe.hpp"

#include <string>

#include <gtest/gtest.h>
#include "RawConnection.hpp"

namespace spf::test {

using zeromq::saysNoEncryption;

TEST(AGreeting, SaysWhetherThePeerEncrypts) {
  EXPECT_EQ(saysNoEncryption(zmtp3Greeting(0, "NULL")), true);
  EXPECT_EQ(saysNoEncryption(zmtp3Greeting(1, "PLAIN")), true);
  EXPECT_EQ(saysNoEncryption(zmtp3Greeting(1, "CURVEX")), true);
  EXPECT_EQ(saysNoEncryption(zmtp3Greeting(1, "CURVE")), false);
}

TEST(AGreeting, SaysNothingBeforeItsMechanismIsComplete) {
  const auto whole = zmtp3Greeting(1, "NULL");
  for (std::size_t size = 0; size < 32; ++size) {
    EXPECT_EQ(saysNoEncryption(whole.substr(0, size)), std::nullopt) << size;
  }
  EXPECT_EQ(saysNoEncryption(whole.substr(0, 32)), true);
}

TEST(AGreeting, IsNoneOfOtherProtocols) {
  EXPECT_EQ(saysNoEncryption("HTTP/1.1 400 Bad Request"), false);
  for (const std::size_t position : {std::size_t{0}, std::size_t{9}, std::size_t{10}}) {
    auto other = zmtp3Greeting(1, "NULL");
    other[position] = '\2';
    EXPECT_EQ(saysNoEncryption(other), false) << position;
    EXPECT_EQ(saysNoEncryption(other.substr(0, position + 1)), false) << position;
  }
}

}  // namespace spf::test
