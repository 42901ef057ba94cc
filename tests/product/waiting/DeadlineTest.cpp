#include "tracking/deadlineAfter.hpp"

#include <gtest/gtest.h>

namespace spf::test {

using agent::spf::frameworksetup::deadlineAfter;
using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::nanoseconds;
using Clock = std::chrono::steady_clock;

constexpr auto endOfTime = Clock::time_point::max();

constexpr Clock::time_point at(nanoseconds sinceEpoch) {
  return Clock::time_point(sinceEpoch);
}

class ADeadline : public testing::TestWithParam<Clock::time_point> {
 protected:
  // The largest time-out whose sum with the time now the clock can hold.
  static milliseconds longest() { return duration_cast<milliseconds>(endOfTime - GetParam()); }
};

INSTANTIATE_TEST_SUITE_P(AtTime, ADeadline,
                         testing::Values(at(nanoseconds(0)), at(nanoseconds(1)), at(nanoseconds(123456789)),
                                         at(std::chrono::hours(24 * 365)), endOfTime - nanoseconds(1000000),
                                         endOfTime - nanoseconds(999999), endOfTime),
                         [](const auto& row) { return std::to_string(row.param.time_since_epoch().count()); });

TEST_P(ADeadline, IsNowForATimeOutOfZeroOrLess) {
  for (const auto timeout : {milliseconds(0), milliseconds(-1), milliseconds::min()}) {
    EXPECT_EQ(deadlineAfter(GetParam(), timeout), GetParam()) << timeout.count();
  }
}

TEST_P(ADeadline, IsTheSumAsLongAsTheClockCanHoldIt) {
  for (const auto timeout : {milliseconds(1), longest() / 2, longest() - milliseconds(1), longest()}) {
    if (timeout > timeout.zero() && timeout <= longest()) {
      EXPECT_EQ(deadlineAfter(GetParam(), timeout), GetParam() + timeout) << timeout.count();
    }
  }
}

TEST_P(ADeadline, IsTheEndOfTheClockForEveryLongerTimeOut) {
  // From the last one on, the time-out alone does not fit into the clock's unit.
  for (const auto timeout : {longest() + milliseconds(1), duration_cast<milliseconds>(nanoseconds::max()),
                             duration_cast<milliseconds>(nanoseconds::max()) + milliseconds(1), milliseconds::max()}) {
    if (timeout > longest()) {
      EXPECT_EQ(deadlineAfter(GetParam(), timeout), endOfTime) << timeout.count();
    }
  }
}

}  // namespace spf::test
