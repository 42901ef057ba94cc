#include "PublisherState.hpp"

#include <cstdint>

#include <gtest/gtest.h>

namespace {

using agent::spf::frameworkwatch::PublisherState;

constexpr std::uint32_t half = 0x80000000;
constexpr std::uint32_t last = 0xffffffff;

TEST(AStateOfAPublisher, IsSilentAtFirst) {
  const PublisherState sut;
  EXPECT_TRUE(sut.isSilent(0));
  EXPECT_FALSE(sut.isPresent());
  EXPECT_FALSE(sut.isPublished(0));
  EXPECT_FALSE(sut.hasFailed(0));
}

TEST(AStateOfAPublisher, CountsReportsOfTheExpectedRevisionAndOfNewerOnes) {
  PublisherState sut;
  sut.notePublished(2);
  EXPECT_TRUE(sut.isPublished(1));
  EXPECT_TRUE(sut.isPublished(2));
  EXPECT_FALSE(sut.isPublished(3));
  EXPECT_FALSE(sut.isSilent(2));
  EXPECT_TRUE(sut.isSilent(3));
}

TEST(AStateOfAPublisher, KeepsTheNewestRevisionWhateverArrivesLate) {
  PublisherState sut;
  sut.notePublished(3);
  sut.notePublished(2);
  sut.noteReport(1);
  EXPECT_TRUE(sut.isPublished(3));
  EXPECT_FALSE(sut.isSilent(3));
}

TEST(AStateOfAPublisher, ComparesRevisionsWithoutTheirSign) {
  PublisherState sut;
  sut.notePublished(half - 1);
  EXPECT_FALSE(sut.isPublished(half));
  sut.notePublished(half);
  EXPECT_TRUE(sut.isPublished(half));
  sut.notePublished(last);
  EXPECT_TRUE(sut.isPublished(last));
  sut.noteUnpublished(half);
  EXPECT_TRUE(sut.isPresent());
  sut.noteUnpublished(last);
  EXPECT_FALSE(sut.isPresent());
}

TEST(AStateOfAPublisher, CountsRevisionZeroToo) {
  PublisherState sut;
  sut.noteReport(0);
  EXPECT_TRUE(sut.isPresent());
  EXPECT_FALSE(sut.isSilent(0));
  sut.noteUnpublished(0);
  EXPECT_FALSE(sut.isPresent());
}

TEST(AStateOfAPublisher, IsPresentFromTheFirstReportUntilItIsUnpublished) {
  PublisherState sut;
  sut.noteReport(1);
  EXPECT_TRUE(sut.isPresent());
  sut.notePublished(1);
  EXPECT_TRUE(sut.isPresent());
  sut.noteUnpublished(1);
  EXPECT_FALSE(sut.isPresent());
  EXPECT_FALSE(sut.isPublished(1));
  EXPECT_FALSE(sut.isSilent(1));
}

TEST(AStateOfAPublisher, IsPresentAfterAFailure) {
  PublisherState sut;
  sut.noteFailure(1, "refused");
  EXPECT_TRUE(sut.isPresent());
  EXPECT_FALSE(sut.isSilent(1));
}

TEST(AStateOfAPublisher, StaysPresentWhenAnOlderRevisionIsUnpublished) {
  PublisherState sut;
  sut.notePublished(2);
  sut.noteUnpublished(1);
  EXPECT_TRUE(sut.isPresent());
  EXPECT_TRUE(sut.isPublished(2));
}

TEST(AStateOfAPublisher, IsAbsentWhenANewerRevisionIsUnpublished) {
  PublisherState sut;
  sut.notePublished(1);
  sut.noteUnpublished(2);
  EXPECT_FALSE(sut.isPresent());
  EXPECT_FALSE(sut.isSilent(2));
}

TEST(AStateOfAPublisher, IgnoresLateReportsOfAnUnpublishedRevision) {
  PublisherState sut;
  sut.noteUnpublished(2);
  sut.noteUnpublished(1);
  sut.noteReport(2);
  sut.noteFailure(2, "late");
  sut.notePublished(1);
  EXPECT_FALSE(sut.isPresent());
  EXPECT_FALSE(sut.isPublished(1));
  EXPECT_FALSE(sut.hasFailed(1));
}

TEST(AStateOfAPublisher, IsPresentAgainWhenTheSameOrANewerRevisionIsPublishedAgain) {
  for (const std::uint32_t again : {2, 3}) {
    PublisherState sut;
    sut.notePublished(2);
    sut.noteUnpublished(2);
    sut.notePublished(again);
    EXPECT_TRUE(sut.isPresent()) << again;
    EXPECT_TRUE(sut.isPublished(again)) << again;
    sut.noteUnpublished(again);
    EXPECT_FALSE(sut.isPresent()) << again;
  }
}

TEST(AStateOfAPublisher, KeepsTheFirstReasonOfTheNewestFailure) {
  PublisherState sut;
  sut.noteFailure(2, "first");
  sut.noteFailure(2, "second");
  sut.noteFailure(1, "old");
  EXPECT_EQ(sut.reason(), "first");
  sut.noteFailure(3, "new");
  EXPECT_EQ(sut.reason(), "new");
}

TEST(AStateOfAPublisher, HasFailedUntilANewerRevisionIsPublished) {
  PublisherState sut;
  sut.notePublished(1);
  sut.noteFailure(1, "broken");
  EXPECT_TRUE(sut.hasFailed(1));
  EXPECT_FALSE(sut.hasFailed(2));
  sut.notePublished(2);
  EXPECT_FALSE(sut.hasFailed(1));
}

}  // namespace
