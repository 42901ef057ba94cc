#include <chrono>

#include <gtest/gtest.h>
#include "Copy.hpp"

namespace agent::spf::etcd {

using Entries = Copy::Entries;

class TheCopy : public testing::Test {
 protected:
  // Returns whether there was a change since the last call.
  bool takeChange() {
    const bool isChanged = sut_.isChanged();
    sut_.acknowledge();
    return isChanged;
  }

  const Copy::TimePoint now_ = Copy::TimePoint::clock::now();
  const Copy::TimePoint later_ = now_ + std::chrono::seconds(10);
  Copy sut_;
};

TEST_F(TheCopy, HasWhatTheFirstListingContains) {
  sut_.list({{"a", "1"}, {"b", "2"}}, later_);
  EXPECT_EQ(sut_.entries(), (Entries{{"a", "1"}, {"b", "2"}}));
  EXPECT_EQ(sut_.expiresAt(), Copy::TimePoint::max());
  EXPECT_TRUE(takeChange());
}

TEST_F(TheCopy, FollowsChanges) {
  sut_.put("a", "1");
  EXPECT_TRUE(takeChange());
  sut_.put("a", "2");
  EXPECT_TRUE(takeChange());
  EXPECT_EQ(sut_.entries(), (Entries{{"a", "2"}}));
  sut_.erase("a");
  EXPECT_TRUE(takeChange());
  EXPECT_EQ(sut_.entries(), Entries());
}

TEST_F(TheCopy, IsUnchangedByWhatItContains) {
  sut_.list({{"a", "1"}}, later_);
  takeChange();
  sut_.put("a", "1");
  sut_.erase("b");
  sut_.list({{"a", "1"}}, later_);
  EXPECT_FALSE(takeChange());
}

TEST_F(TheCopy, KeepsKeysThatALaterListingLacksUntilTheirTimeIsOver) {
  sut_.list({{"a", "1"}, {"b", "2"}}, now_);
  sut_.list({{"b", "3"}}, later_);
  EXPECT_EQ(sut_.entries(), (Entries{{"a", "1"}, {"b", "3"}}));
  EXPECT_EQ(sut_.expiresAt(), later_);
  takeChange();
  sut_.expire(later_ - std::chrono::nanoseconds(1));
  EXPECT_FALSE(takeChange());
  sut_.expire(later_);
  EXPECT_TRUE(takeChange());
  EXPECT_EQ(sut_.entries(), (Entries{{"b", "3"}}));
  EXPECT_EQ(sut_.expiresAt(), Copy::TimePoint::max());
}

TEST_F(TheCopy, GivesNoMoreTimeToKeysThatLaterListingsLackToo) {
  sut_.list({{"a", "1"}, {"b", "2"}}, now_);
  sut_.list({{"b", "2"}}, now_ + std::chrono::seconds(1));
  sut_.list({}, later_);
  sut_.expire(now_ + std::chrono::seconds(1));
  EXPECT_EQ(sut_.entries(), (Entries{{"b", "2"}}));
  EXPECT_EQ(sut_.expiresAt(), later_);
}

TEST_F(TheCopy, PostponesTheEndOfMissingKeys) {
  sut_.list({{"a", "1"}}, now_);
  sut_.list({}, now_);
  sut_.postpone(later_ - now_);
  EXPECT_EQ(sut_.expiresAt(), later_);
}

TEST_F(TheCopy, GivesAKeyThatCameBackItsWholeTimeAgain) {
  sut_.list({{"a", "1"}}, now_);
  sut_.list({}, now_);
  sut_.list({{"a", "1"}}, now_);
  sut_.list({}, later_);
  EXPECT_EQ(sut_.expiresAt(), later_);
}

TEST_F(TheCopy, KeepsAMissingKeyThatComesBack) {
  sut_.list({{"a", "1"}, {"b", "2"}}, now_);
  sut_.list({}, later_);
  sut_.put("a", "1");
  sut_.expire(later_);
  EXPECT_EQ(sut_.entries(), (Entries{{"a", "1"}}));
}

TEST_F(TheCopy, KeepsAMissingKeyThatTheNextListingContains) {
  sut_.list({{"a", "1"}}, now_);
  sut_.list({}, later_);
  sut_.list({{"a", "1"}}, later_);
  sut_.expire(later_);
  EXPECT_EQ(sut_.entries(), (Entries{{"a", "1"}}));
}

TEST_F(TheCopy, LosesAMissingKeyThatIsErased) {
  sut_.list({{"a", "1"}}, now_);
  sut_.list({}, later_);
  sut_.erase("a");
  EXPECT_EQ(sut_.entries(), Entries());
  EXPECT_EQ(sut_.expiresAt(), Copy::TimePoint::max());
}

}  // namespace agent::spf::etcd
