#include <future>
#include <limits>
#include <optional>
#include <system_error>
#include <thread>

#include "spf/test/Gate.hpp"
#include "support/Locking.hpp"
#include "support/RecordedLog.hpp"
#include "support/TestFramework.hpp"
#include "support/TimedWaits.hpp"
#include "support/configurations.hpp"
#include "tracking/ConfigTracker.hpp"

namespace spf::test {

using agent::spf::frameworksetup::ConfigTracker;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr auto maximum = milliseconds::max();
constexpr auto minimum = milliseconds::min();

struct Wait {
  const char* name;
  bool (ConfigTracker::*wait)(const milliseconds&);
  void (*fulfil)(ConfigTracker&);
};

std::ostream& operator<<(std::ostream& stream, const Wait& wait) {
  return stream << wait.name;
}

const Wait waits[] = {
    {"Endpoints", &ConfigTracker::waitForAllEndpoints, [](ConfigTracker& sut) { sut.completeEndpointBind(text("b")); }},
    {"Services", &ConfigTracker::waitForAllServices, [](ConfigTracker& sut) { sut.completeAllServicesPublished(); }},
    {"Unpublishing", &ConfigTracker::waitForAllServicesToBeUnpublished,
     [](ConfigTracker& sut) { sut.completeAllServicesUnpublished(); }}};

class ATimedWait : public testing::TestWithParam<Wait> {
 protected:
  bool wait(const milliseconds& timeout) { return (sut_.*GetParam().wait)(timeout); }
  // How many waits on a condition a wait with this time-out takes.
  int timedWaits(const milliseconds& timeout) {
    const int before = timedWaitsFromThisThread();
    wait(timeout);
    return timedWaitsFromThisThread() - before;
  }
  void fulfil() { GetParam().fulfil(sut_); }
  // Until when a wait with this time-out asks to wait.
  static steady_clock::time_point deadlineOf(const milliseconds& timeout) {
    ConfigTracker sut{{text("b")}, {}, true};
    const ScriptedTimedWaits scripted([&] {
      GetParam().fulfil(sut);
      return ScriptedTimedWaits::End::wakeUp;
    });
    EXPECT_TRUE((sut.*GetParam().wait)(timeout));
    return scripted.deadline();
  }

  ConfigTracker sut_{{text("b")}, {}, true};
};

INSTANTIATE_TEST_SUITE_P(For, ATimedWait, testing::ValuesIn(waits),
                         [](const auto& wait) { return std::string(wait.param.name); });

TEST_P(ATimedWait, LooksOnceWhenTheTimeOutIsZeroOrNegative) {
  for (const auto timeout : {milliseconds(0), milliseconds(-1), minimum}) {
    EXPECT_FALSE(wait(timeout)) << timeout.count();
  }
  fulfil();
  for (const auto timeout : {milliseconds(0), milliseconds(-1), minimum}) {
    EXPECT_TRUE(wait(timeout)) << timeout.count();
  }
}

TEST_P(ATimedWait, DoesNotBlockForATimeOutOfZeroOrLessOrAConditionThatHolds) {
  EXPECT_GT(timedWaits(milliseconds(1)), 0);
  for (const auto timeout : {milliseconds(0), milliseconds(-1), minimum}) {
    EXPECT_EQ(timedWaits(timeout), 0) << timeout.count();
  }
  fulfil();
  for (const auto timeout : {minimum, milliseconds(0), milliseconds(1000), maximum}) {
    EXPECT_EQ(timedWaits(timeout), 0) << timeout.count();
  }
}

TEST_P(ATimedWait, ReturnsAtOnceForAnyTimeOutWhenTheConditionHolds) {
  fulfil();
  for (const auto timeout : {milliseconds(1), milliseconds(1000), maximum}) {
    EXPECT_TRUE(wait(timeout)) << timeout.count();
  }
}

TEST_P(ATimedWait, LastsAsLongAsItsTimeOutAndLogsNothingWhenItNeverHolds) {
  const RecordedLog log(~0u);
  const auto start = steady_clock::now();
  EXPECT_FALSE(wait(milliseconds(20)));
  EXPECT_GE(steady_clock::now() - start, milliseconds(20));
  EXPECT_TRUE(log.records().empty());
}

TEST_P(ATimedWait, WithATimeOutBeyondTheClockLastsUntilTheConditionHolds) {
  const auto hundredYears = std::chrono::hours(24) * 36525;
  // Where milliseconds stop to fit into the clock's nanoseconds, and about where their sum with the time
  // now does.
  const milliseconds edge(std::numeric_limits<std::int64_t>::max() / 1000000);
  const auto edgeNow = std::chrono::duration_cast<milliseconds>(steady_clock::time_point::max() - steady_clock::now());
  const milliseconds one(1);
  for (const auto timeout : {milliseconds(hundredYears), edgeNow - one * 100, edgeNow - one, edgeNow, edgeNow + one,
                             edge - one, edge, edge + one, maximum - one, maximum}) {
    ConfigTracker sut{{text("b")}, {}, true};
    Gate entered;
    auto waiter = std::async(std::launch::async, [&] {
      entered.open();
      return (sut.*GetParam().wait)(timeout);
    });
    ASSERT_TRUE(entered.wait());
    EXPECT_EQ(waiter.wait_for(milliseconds(20)), std::future_status::timeout) << timeout.count();
    GetParam().fulfil(sut);
    EXPECT_TRUE(waiter.get()) << timeout.count();
  }
}

TEST_P(ATimedWait, AsksForTheTimeNowPlusItsTimeOut) {
  const milliseconds hundredYears = std::chrono::hours(24) * 36525;
  for (const auto timeout : {milliseconds(1), milliseconds(20), milliseconds(86400000), hundredYears}) {
    const auto earliest = steady_clock::now() + timeout;
    const auto deadline = deadlineOf(timeout);
    EXPECT_GE(deadline, earliest) << timeout.count();
    EXPECT_LE(deadline, steady_clock::now() + timeout) << timeout.count();
  }
}

TEST_P(ATimedWait, AsksForTheEndOfTheClockWhenItsTimeOutReachesBeyondIt) {
  const auto left = std::chrono::duration_cast<milliseconds>(steady_clock::time_point::max() - steady_clock::now());
  for (const auto timeout : {left + milliseconds(1), maximum - milliseconds(1), maximum}) {
    EXPECT_EQ(deadlineOf(timeout), steady_clock::time_point::max()) << timeout.count();
  }
}

TEST_P(ATimedWait, MeasuresItsTimeFromWhenItHasTheLock) {
  std::optional<steady_clock::time_point> firstLocking;
  // Lets the clock go on before the mutex is locked: a time that was read before is older.
  const LockingHook hook([&] {
    const auto begin = steady_clock::now();
    while (!firstLocking || *firstLocking == begin) {
      firstLocking = steady_clock::now();
    }
  });
  const auto deadline = deadlineOf(milliseconds(20));
  ASSERT_TRUE(firstLocking.has_value());
  EXPECT_GE(deadline, *firstLocking + milliseconds(20));
}

TEST_P(ATimedWait, OfManyThreadsEndsForAllOfThem) {
  std::vector<std::future<bool>> waiters;
  Counter entered;
  for (int i = 0; i < 8; ++i) {
    waiters.push_back(std::async(std::launch::async, [&] {
      entered.add();
      return wait(patience);
    }));
  }
  ASSERT_TRUE(entered.waitFor(8));
  fulfil();
  for (auto& waiter : waiters) {
    EXPECT_TRUE(waiter.get());
  }
}

TEST_P(ATimedWait, ThrowsTheErrorThatComesWhileItWaitsAndOnEveryLaterCall) {
  Gate entered;
  auto waiter = std::async(std::launch::async, [&] {
    entered.open();
    return wait(patience);
  });
  ASSERT_TRUE(entered.wait());
  sut_.setError(makeError<std::runtime_error>("broken"));
  EXPECT_EQ(messageOf([&] { waiter.get(); }), "broken");
  EXPECT_EQ(messageOf([&] { wait(milliseconds(0)); }), "broken");
  EXPECT_EQ(messageOf([&] { wait(maximum); }), "broken");
}

TEST_P(ATimedWait, ThrowsTheErrorEvenIfTheConditionHoldsAsWell) {
  sut_.setError(makeError<std::runtime_error>("broken"));
  fulfil();
  EXPECT_EQ(messageOf([&] { wait(milliseconds(0)); }), "broken");
}

TEST_P(ATimedWait, ThrowsWhatIsNoStandardException) {
  sut_.setError(std::make_exception_ptr(42));
  EXPECT_THROW(wait(milliseconds(0)), int);
}

// The report comes when the wait has begun and before it can look again, which is when its time is up.
TEST_P(ATimedWait, ReturnsTrueWhenTheConditionComesTrueAsTheTimeRunsOut) {
  const ScriptedTimedWaits scripted([this] {
    fulfil();
    return ScriptedTimedWaits::End::timeOut;
  });
  EXPECT_TRUE(wait(milliseconds(1)));
}

TEST_P(ATimedWait, ThrowsTheErrorThatComesAsTheTimeRunsOut) {
  const ScriptedTimedWaits scripted([this] {
    sut_.setError(makeError<std::runtime_error>("broken"));
    return ScriptedTimedWaits::End::timeOut;
  });
  EXPECT_EQ(messageOf([&] { wait(milliseconds(1)); }), "broken");
}

TEST_P(ATimedWait, LastsAsLongAsItsTimeOutHoweverOftenItIsWokenUpForNothing) {
  int wakeUps = 0;
  const ScriptedTimedWaits scripted([&] {
    ++wakeUps;
    return ScriptedTimedWaits::End::wakeUp;
  });
  const auto start = steady_clock::now();
  EXPECT_FALSE(wait(milliseconds(5)));
  EXPECT_GE(steady_clock::now() - start, milliseconds(5));
  EXPECT_GT(wakeUps, 0);
}

TEST_P(ATimedWait, GoesOnUntilTheConditionHoldsWhenItIsWokenUpForNothing) {
  int wakeUps = 0;
  const ScriptedTimedWaits scripted([&] {
    if (++wakeUps == 5) {
      fulfil();
    }
    return ScriptedTimedWaits::End::wakeUp;
  });
  EXPECT_TRUE(wait(patience));
  EXPECT_EQ(wakeUps, 5);
}

TEST_P(ATimedWait, ReturnsFalseWhenItsOwnTimeIsUpAndLetsAnotherGoOn) {
  Gate entered;
  auto other = std::async(std::launch::async, [&] {
    entered.open();
    return wait(patience);
  });
  ASSERT_TRUE(entered.wait());
  EXPECT_FALSE(wait(milliseconds(1)));
  fulfil();
  EXPECT_TRUE(other.get());
}

TEST_P(ATimedWait, ThrowsASystemErrorWhenItsMutexCannotBeLocked) {
  for (const auto timeout : {milliseconds(0), milliseconds(1), maximum}) {
    const auto refusedWait = [&] {
      const MutexFailure failure;
      wait(timeout);
    };
    EXPECT_THROW(refusedWait(), std::system_error) << timeout.count();
  }
  fulfil();
  EXPECT_TRUE(wait(milliseconds(0)));
}

TEST(TheListOfOutstandingEndpoints, ThrowsASystemErrorWhenItsMutexCannotBeLocked) {
  ConfigTracker sut{{text("b")}, {}, true};
  const auto refusedListing = [&] {
    const MutexFailure failure;
    sut.listOutstandingEndpoints();
  };
  EXPECT_THROW(refusedListing(), std::system_error);
  EXPECT_EQ(sut.listOutstandingEndpoints().second.size(), 1u);
}

}  // namespace spf::test
