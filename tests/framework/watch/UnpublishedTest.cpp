#include <chrono>
#include <cstdint>
#include <vector>

#include "SendingFramework.hpp"
#include "TimedWaits.hpp"
#include "agent/spf/frameworkwatch/PublisherWatch.hpp"
#include "matchers.hpp"

namespace {

using agent::spf::frameworkwatch::PublisherWatch;
using spf::test::ScriptedTimedWaits;
using spf::test::timedWaitsFromThisThread;
using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using watchtest::isResult;
using watchtest::Names;
using watchtest::SendingFramework;
using End = ScriptedTimedWaits::End;

class AWaitForUnpublishing : public testing::Test {
 protected:
  void publish(std::uint32_t revision = 1) {
    framework.sendPublished("a", revision);
    framework.sendPublished("b", revision);
  }

  /// Returns the state at once; silent publishers count as gone only if the limit is zero.
  auto stateNow(milliseconds silenceLimit = hours(1)) {
    return sut.waitUntilAllUnpublished(milliseconds::zero(), silenceLimit);
  }

  SendingFramework framework;
  PublisherWatch sut{framework.context(), {"a", "b"}};
};

TEST_F(AWaitForUnpublishing, IsDoneWhenAllPublishersWereUnpublishedBefore) {
  publish();
  framework.sendUnpublished("b", 1);
  framework.sendUnpublished("a", 1);
  EXPECT_THAT(stateNow(), isResult(true, {}, {}, {}));
}

TEST_F(AWaitForUnpublishing, BlocksUntilTheLastPublisherIsUnpublishedInAnyOrder) {
  for (const auto& order : {Names{"a", "b"}, Names{"b", "a"}}) {
    PublisherWatch each(framework.context(), {"a", "b"});
    publish();
    std::size_t waits = 0;
    const ScriptedTimedWaits scripted([&] {
      framework.sendUnpublished(order.at(waits++), 1);
      return End::wakeUp;
    });
    EXPECT_THAT(each.waitUntilAllUnpublished(milliseconds::max()), isResult(true, {}, {}, {}));
    EXPECT_EQ(waits, 2U);
  }
}

TEST_F(AWaitForUnpublishing, NamesWhoIsStillThereWhenTheTimeIsUp) {
  publish();
  framework.sendUnpublished("a", 1);
  framework.sendUnpublished("a", 1);
  EXPECT_THAT(sut.waitUntilAllUnpublished(milliseconds(1)), isResult(false, {"b"}, {}, {}));
}

TEST_F(AWaitForUnpublishing, WaitsForPublishersThatHaveReportedAnything) {
  framework.sendBound("a", 1);
  framework.sendError("b", 1, "refused");
  EXPECT_THAT(stateNow(milliseconds::zero()), isResult(false, {"a", "b"}, {{"b", "refused"}}, {}));
  framework.sendUnpublished("a", 1);
  framework.sendUnpublished("b", 1);
  EXPECT_THAT(stateNow(), isResult(true, {}, {{"b", "refused"}}, {}));
}

TEST_F(AWaitForUnpublishing, IsDoneForPublishersThatReportNothingButThat) {
  framework.sendUnpublished("a", 1);
  framework.sendUnpublished("b", 1);
  EXPECT_THAT(stateNow(), isResult(true, {}, {}, {}));
}

TEST_F(AWaitForUnpublishing, ExaminesTheStateOnceWithoutBlockingForTimeOutsOfZeroAndLess) {
  framework.sendPublished("a", 1);
  for (const auto timeout : {milliseconds::zero(), milliseconds(-1), milliseconds::min()}) {
    const int before = timedWaitsFromThisThread();
    EXPECT_THAT(sut.waitUntilAllUnpublished(timeout), isResult(false, {"a"}, {}, {"b"}));
    EXPECT_EQ(timedWaitsFromThisThread(), before);
  }
}

TEST_F(AWaitForUnpublishing, WaitsASecondForSilentPublishersByDefault) {
  int waits = 0;
  const auto before = steady_clock::now();
  const ScriptedTimedWaits scripted([&] {
    framework.sendUnpublished(++waits == 1 ? "a" : "b", 1);
    return End::wakeUp;
  });
  EXPECT_THAT(sut.waitUntilAllUnpublished(hours(1)), isResult(true, {}, {}, {}));
  EXPECT_GE(scripted.deadline(), before + std::chrono::seconds(1));
  EXPECT_LE(scripted.deadline(), steady_clock::now() + std::chrono::seconds(1));
}

TEST_F(AWaitForUnpublishing, CountsSilentPublishersAsGoneWhenTheLimitHasPassed) {
  EXPECT_THAT(sut.waitUntilAllUnpublished(hours(1), milliseconds(1)), isResult(true, {}, {}, {"a", "b"}));
}

TEST_F(AWaitForUnpublishing, CountsSilentPublishersAsGoneAtOnceForLimitsOfZeroAndLess) {
  for (const auto limit : {milliseconds::zero(), milliseconds(-1), milliseconds::min()}) {
    EXPECT_THAT(stateNow(limit), isResult(true, {}, {}, {"a", "b"}));
  }
}

TEST_F(AWaitForUnpublishing, IsNotDoneWhenTheTimeIsUpBeforeTheLimitOfSilence) {
  EXPECT_THAT(sut.waitUntilAllUnpublished(milliseconds(1), milliseconds::max()), isResult(false, {}, {}, {"a", "b"}));
}

TEST_F(AWaitForUnpublishing, IsDoneWhenTheTimeIsUpWithTheLimitOfSilence) {
  EXPECT_TRUE(sut.waitUntilAllUnpublished(milliseconds(1), milliseconds(1)));
}

TEST_F(AWaitForUnpublishing, WaitsForTheOthersWhenTheLimitOfSilenceHasPassed) {
  framework.sendPublished("a", 1);
  std::vector<steady_clock::time_point> begins;
  const ScriptedTimedWaits scripted([&] {
    begins.push_back(steady_clock::now());
    if (begins.size() == 1) {
      return End::timeOut;
    }
    framework.sendUnpublished("a", 1);
    return End::wakeUp;
  });
  EXPECT_THAT(sut.waitUntilAllUnpublished(hours(1), milliseconds(1)), isResult(true, {}, {}, {"b"}));
  EXPECT_EQ(begins.size(), 2U);
  EXPECT_GT(scripted.deadline(), begins.front() + std::chrono::minutes(50));
}

TEST_F(AWaitForUnpublishing, MeasuresTheSilenceFromTheFirstWait) {
  EXPECT_FALSE(sut.waitUntilAllUnpublished(milliseconds(1), hours(1)));
  EXPECT_TRUE(stateNow(milliseconds(1)));
}

TEST_F(AWaitForUnpublishing, MeasuresTheSilenceAnewForANewRevision) {
  EXPECT_FALSE(sut.waitUntilAllUnpublished(milliseconds(1), hours(1)));
  sut.expectRevision(2);
  const auto begin = steady_clock::now();
  const ScriptedTimedWaits scripted([&] {
    framework.sendUnpublished("a", 2);
    framework.sendUnpublished("b", 2);
    return End::wakeUp;
  });
  EXPECT_TRUE(sut.waitUntilAllUnpublished(hours(2), hours(1)));
  EXPECT_GE(scripted.deadline(), begin + hours(1));
}

TEST_F(AWaitForUnpublishing, NamesASilentPublisherAsOutstandingOnceItReportsSomething) {
  EXPECT_TRUE(stateNow(milliseconds::zero()));
  framework.sendBound("b", 1);
  EXPECT_THAT(stateNow(milliseconds::zero()), isResult(false, {"b"}, {}, {"a"}));
}

TEST_F(AWaitForUnpublishing, IgnoresStaleEventsOfPublishersThatWereNotThere) {
  PublisherWatch second(framework.context(), {"a"}, 2);
  framework.sendUnpublished("a", 1);
  EXPECT_THAT(second.waitUntilAllUnpublished(milliseconds::zero(), hours(1)), isResult(false, {}, {}, {"a"}));
}

TEST_F(AWaitForUnpublishing, WaitsForPublishersThatOnlyAnOlderRevisionReported) {
  publish(1);
  sut.expectRevision(2);
  EXPECT_THAT(stateNow(milliseconds::zero()), isResult(false, {"a", "b"}, {}, {}));
  framework.sendUnpublished("a", 1);
  framework.sendUnpublished("b", 2);
  EXPECT_THAT(stateNow(), isResult(false, {}, {}, {"a"}));
  EXPECT_THAT(stateNow(milliseconds::zero()), isResult(true, {}, {}, {"a"}));
}

TEST_F(AWaitForUnpublishing, IsNotDoneWhenOnlyTheOlderRevisionIsUnpublished) {
  publish(2);
  sut.expectRevision(2);
  framework.sendUnpublished("a", 1);
  framework.sendUnpublished("b", 2);
  EXPECT_THAT(stateNow(milliseconds::zero()), isResult(false, {"a"}, {}, {}));
}

TEST_F(AWaitForUnpublishing, IgnoresReportsThatArriveAfterThePublisherWasUnpublished) {
  publish();
  framework.sendUnpublished("a", 1);
  framework.sendUnpublished("b", 1);
  framework.sendBound("a", 1);
  framework.sendError("b", 1, "late");
  EXPECT_THAT(stateNow(), isResult(true, {}, {}, {}));
}

TEST_F(AWaitForUnpublishing, WaitsForAPublisherThatWasPublishedAgain) {
  publish();
  framework.sendUnpublished("a", 1);
  framework.sendUnpublished("b", 1);
  framework.sendPublished("a", 1);
  EXPECT_THAT(stateNow(milliseconds::zero()), isResult(false, {"a"}, {}, {}));
}

}  // namespace
