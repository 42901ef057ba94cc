#include <chrono>
#include <exception>

#include "SendingFramework.hpp"
#include "TimedWaits.hpp"
#include "agent/spf/frameworkwatch/PublisherWatch.hpp"
#include "matchers.hpp"

namespace {

using agent::spf::frameworklistener::FrameworkEvent;
using agent::spf::frameworklistener::ServicesEvent;
using agent::spf::frameworkwatch::PublisherWatch;
using spf::test::ScriptedTimedWaits;
using spf::test::timedWaitsFromThisThread;
using std::chrono::milliseconds;
using std::chrono::steady_clock;
using watchtest::isResult;
using watchtest::SendingFramework;
using End = ScriptedTimedWaits::End;

class AWaitForPublication : public testing::Test {
 protected:
  auto stateNow() { return sut.waitUntilAllPublished(milliseconds::zero()); }

  SendingFramework framework;
  PublisherWatch sut{framework.context(), {"a", "b"}};
};

TEST_F(AWaitForPublication, IsDoneWhenAllPublishersHadPublishedBefore) {
  framework.sendPublished("b", 1);
  framework.sendPublished("a", 1);
  EXPECT_THAT(stateNow(), isResult(true, {}, {}, {}));
}

TEST_F(AWaitForPublication, BlocksUntilTheLastPublisherHasPublished) {
  int waits = 0;
  const ScriptedTimedWaits scripted([&] {
    framework.sendPublished(++waits == 1 ? "b" : "a", 1);
    return End::wakeUp;
  });
  EXPECT_THAT(sut.waitUntilAllPublished(milliseconds::max()), isResult(true, {}, {}, {}));
  EXPECT_EQ(waits, 2);
  EXPECT_GT(scripted.deadline(), steady_clock::now() + std::chrono::hours(24 * 300));
}

TEST_F(AWaitForPublication, CountsARepeatedEventOnce) {
  framework.sendPublished("a", 1);
  framework.sendPublished("a", 1);
  EXPECT_THAT(stateNow(), isResult(false, {}, {}, {"b"}));
}

TEST_F(AWaitForPublication, EndsEarlyWhenOnePublisherFails) {
  int waits = 0;
  const ScriptedTimedWaits scripted([&] {
    ++waits;
    framework.sendError("b", 1, "the port is taken");
    return End::wakeUp;
  });
  EXPECT_THAT(sut.waitUntilAllPublished(std::chrono::hours(1)),
              isResult(false, {}, {{"b", "the port is taken"}}, {"a"}));
  EXPECT_EQ(waits, 1);
}

TEST_F(AWaitForPublication, FailsAtOnceWhenAPublisherHadFailedBefore) {
  framework.sendError("a", 1, "refused");
  const int before = timedWaitsFromThisThread();
  EXPECT_THAT(sut.waitUntilAllPublished(std::chrono::hours(1)), isResult(false, {}, {{"a", "refused"}}, {"b"}));
  EXPECT_EQ(timedWaitsFromThisThread(), before);
}

TEST_F(AWaitForPublication, IsNotDoneWhenAPublisherPublishedAndFailed) {
  framework.sendPublished("a", 1);
  framework.sendPublished("b", 1);
  framework.sendError("b", 1, "closed");
  EXPECT_THAT(stateNow(), isResult(false, {}, {{"b", "closed"}}, {}));
}

TEST_F(AWaitForPublication, GivesTheReasonsOfErrorsWithoutAText) {
  framework.sendError("a", 1, std::exception_ptr());
  framework.sendError("b", 1, std::make_exception_ptr(42));
  EXPECT_THAT(stateNow(),
              isResult(false, {}, {{"a", "the framework gave no reason"}, {"b", "an error without a text"}}, {}));
}

TEST_F(AWaitForPublication, NamesWhoIsOutstandingAndWhoIsSilentWhenTheTimeIsUp) {
  framework.sendBound("b", 1);
  EXPECT_THAT(sut.waitUntilAllPublished(milliseconds(1)), isResult(false, {"b"}, {}, {"a"}));
}

TEST_F(AWaitForPublication, IsNotDoneAfterAPublisherWasUnpublished) {
  framework.sendPublished("a", 1);
  framework.sendPublished("b", 1);
  framework.sendUnpublished("b", 1);
  EXPECT_THAT(stateNow(), isResult(false, {"b"}, {}, {}));
}

TEST_F(AWaitForPublication, ExaminesTheStateOnceWithoutBlockingForTimeOutsOfZeroAndLess) {
  for (const auto timeout : {milliseconds::zero(), milliseconds(-1), milliseconds::min()}) {
    const int before = timedWaitsFromThisThread();
    EXPECT_THAT(sut.waitUntilAllPublished(timeout), isResult(false, {}, {}, {"a", "b"}));
    EXPECT_EQ(timedWaitsFromThisThread(), before);
  }
}

TEST_F(AWaitForPublication, IgnoresOtherPublishersAndUnknownEvents) {
  framework.sendPublished("a", 1);
  framework.sendPublished("c", 1);
  framework.send(FrameworkEvent{99});
  framework.send(ServicesEvent{{FrameworkEvent::services}, 99, "b", 1});
  EXPECT_THAT(stateNow(), isResult(false, {}, {}, {"b"}));
}

TEST_F(AWaitForPublication, IgnoresStaleEvents) {
  PublisherWatch second(framework.context(), {"a", "b"}, 2);
  framework.sendPublished("a", 1);
  framework.sendError("b", 1, "old");
  EXPECT_THAT(second.waitUntilAllPublished(milliseconds::zero()), isResult(false, {}, {}, {"a", "b"}));
}

TEST_F(AWaitForPublication, CountsEventsOfNewerRevisions) {
  framework.sendPublished("a", 2);
  framework.sendPublished("b", 7);
  EXPECT_TRUE(stateNow());
}

TEST_F(AWaitForPublication, CountsTheExpectedRevisionOnlyAfterAModification) {
  framework.sendPublished("a", 1);
  framework.sendPublished("b", 1);
  sut.expectRevision(2);
  EXPECT_THAT(stateNow(), isResult(false, {}, {}, {"a", "b"}));
  framework.sendPublished("a", 1);
  framework.sendPublished("b", 2);
  EXPECT_THAT(stateNow(), isResult(false, {}, {}, {"a"}));
  framework.sendPublished("a", 2);
  EXPECT_TRUE(stateNow());
}

TEST_F(AWaitForPublication, KnowsEventsOfARevisionThatArrivedBeforeItWasExpected) {
  framework.sendPublished("a", 2);
  framework.sendError("b", 2, "refused");
  sut.expectRevision(2);
  EXPECT_THAT(stateNow(), isResult(false, {}, {{"b", "refused"}}, {}));
}

TEST_F(AWaitForPublication, NeverExpectsAnOlderRevisionThanBefore) {
  sut.expectRevision(3);
  sut.expectRevision(2);
  framework.sendPublished("a", 2);
  framework.sendPublished("b", 2);
  EXPECT_THAT(stateNow(), isResult(false, {}, {}, {"a", "b"}));
}

TEST_F(AWaitForPublication, ForgetsAFailureWithItsRevision) {
  framework.sendError("a", 1, "refused");
  sut.expectRevision(2);
  framework.sendPublished("a", 2);
  framework.sendPublished("b", 2);
  EXPECT_THAT(stateNow(), isResult(true, {}, {}, {}));
}

TEST_F(AWaitForPublication, ComparesRevisionsWithoutTheirSign) {
  sut.expectRevision(0x80000000);
  framework.sendPublished("a", 0x7fffffff);
  framework.sendPublished("b", 0x80000000);
  EXPECT_THAT(stateNow(), isResult(false, {}, {}, {"a"}));
}

TEST_F(AWaitForPublication, OfNoPublishersIsDoneAtOnce) {
  PublisherWatch none(framework.context(), {});
  EXPECT_THAT(none.waitUntilAllPublished(std::chrono::hours(1)), isResult(true, {}, {}, {}));
  EXPECT_THAT(none.waitUntilAllUnpublished(std::chrono::hours(1)), isResult(true, {}, {}, {}));
}

TEST_F(AWaitForPublication, CountsARepeatedPublisherOnce) {
  PublisherWatch twice(framework.context(), {"a", "a"});
  EXPECT_THAT(twice.waitUntilAllPublished(milliseconds::zero()), isResult(false, {}, {}, {"a"}));
  framework.sendPublished("a", 1);
  EXPECT_TRUE(twice.waitUntilAllPublished(milliseconds::zero()));
}

}  // namespace
