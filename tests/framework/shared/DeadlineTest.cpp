#include <chrono>

#include <gmock/gmock.h>
#include "agent/spf/frameworksupport/deadlineAfter.hpp"

namespace {

using agent::spf::frameworksupport::deadlineAfter;
using std::chrono::hours;
using std::chrono::milliseconds;

const auto now = std::chrono::steady_clock::now();

TEST(ADeadline, IsTheSumOfNowAndTheTimeOut) {
  EXPECT_EQ(deadlineAfter(milliseconds(1), now), now + milliseconds(1));
  EXPECT_EQ(deadlineAfter(hours(24), now), now + hours(24));
}

TEST(ADeadline, IsNowForATimeOutOfZeroOrLess) {
  EXPECT_EQ(deadlineAfter(milliseconds(0), now), now);
  EXPECT_EQ(deadlineAfter(milliseconds(-1), now), now);
  EXPECT_EQ(deadlineAfter(milliseconds::min(), now), now);
}

TEST(ADeadline, IsAYearAwayAtMost) {
  EXPECT_EQ(deadlineAfter(milliseconds::max(), now), now + hours(24 * 365));
}

TEST(ADeadline, CountsFromTheSteadyClocksTime) {
  EXPECT_GE(deadlineAfter(milliseconds(0)), now);
}

}  // namespace
