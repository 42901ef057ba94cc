#include "Refusals.hpp"

#include <gtest/gtest.h>
#include "RetryInterval.hpp"

namespace {

using spf::zeromq::Refusals;
using spf::zeromq::RetryInterval;
using std::chrono::milliseconds;

class OfRefusals : public testing::Test {
 protected:
  Refusals sut;
  const Refusals::Clock::time_point begin = Refusals::Clock::now();
};

TEST_F(OfRefusals, NoneIsNotReported) {
  EXPECT_FALSE(sut.isDue(begin));
  EXPECT_EQ(sut.deadline(), std::nullopt);
}

TEST_F(OfRefusals, TheFirstIsReportedAtOnceAndOnlyOnce) {
  sut.add("key unknown");
  EXPECT_LE(sut.deadline(), begin);
  EXPECT_TRUE(sut.isDue(begin));
  EXPECT_EQ(sut.count(), 1U);
  EXPECT_EQ(sut.reason(), "key unknown");
  EXPECT_FALSE(sut.isDue(begin + milliseconds(1000)));
  EXPECT_EQ(sut.deadline(), std::nullopt);
}

TEST_F(OfRefusals, ManyAreReportedTogetherAfterAWhile) {
  sut.add("key unknown");
  EXPECT_TRUE(sut.isDue(begin));
  for (int i = 0; i < 1000; ++i) {
    sut.add("handshake failed");
    EXPECT_FALSE(sut.isDue(begin + milliseconds(99)));
  }
  EXPECT_EQ(sut.deadline(), begin + milliseconds(100));
  EXPECT_TRUE(sut.isDue(begin + milliseconds(100)));
  EXPECT_EQ(sut.count(), 1001U);
  EXPECT_EQ(sut.reason(), "handshake failed");
}

TEST(ARetryInterval, IsDoubledUpToALimitUntilItIsReset) {
  RetryInterval sut;
  for (const int expected : {100, 200, 400, 800, 1600, 2000, 2000}) {
    EXPECT_EQ(sut.next(), milliseconds(expected));
  }
  sut.reset();
  EXPECT_EQ(sut.next(), milliseconds(100));
}

}  // namespace
