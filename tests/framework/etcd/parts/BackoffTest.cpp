#include <chrono>
#include <set>
#include <string>

#include <gtest/gtest.h>
#include "Attempts.hpp"
#include "Backoff.hpp"
#include "Members.hpp"

namespace agent::spf::etcd {

using std::chrono::milliseconds;

TEST(ABackoff, DoublesUpToItsCapAndWaitsAtLeastHalfOfAStep) {
  for (unsigned seed = 0; seed < 100; ++seed) {
    Backoff sut(milliseconds(100), milliseconds(500), seed);
    for (const int step : {100, 200, 400, 500, 500, 500}) {
      const auto wait = sut.next();
      EXPECT_GE(wait, milliseconds(step / 2)) << "seed " << seed;
      EXPECT_LE(wait, milliseconds(step)) << "seed " << seed;
    }
    sut.reset();
    EXPECT_LE(sut.next(), milliseconds(100));
  }
}

TEST(ABackoff, DiffersFromHostToHost) {
  std::set<milliseconds::rep> waits;
  for (unsigned seed = 0; seed < 100; ++seed) {
    waits.insert(Backoff(milliseconds(1000), milliseconds(1000), seed).next().count());
  }
  EXPECT_GT(waits.size(), 50u);
}

TEST(ABackoff, BeginsWithItsCapIfThatIsLess) {
  EXPECT_LE(Backoff(milliseconds(100), milliseconds(10), 1).next(), milliseconds(10));
}

class Attempting : public testing::Test {
 protected:
  const Attempts::TimePoint now_ = Attempts::TimePoint::clock::now();
  Members members_{{"a", "b", "c"}, 4};
  Attempts sut_{members_, Backoff(milliseconds(100), milliseconds(1000), 1)};
};

TEST_F(Attempting, BeginsAtTheGivenMemberAndGoesRound) {
  EXPECT_EQ(members_.url(members_.current()), "b");
  sut_.fail(1, now_);
  EXPECT_EQ(members_.url(members_.current()), "c");
  sut_.fail(2, now_);
  EXPECT_EQ(members_.url(members_.current()), "a");
}

TEST_F(Attempting, StaysAtAMemberThatAnotherRequestHasChosenMeanwhile) {
  members_.reportFailure(1);
  sut_.fail(1, now_);
  EXPECT_EQ(members_.url(members_.current()), "c");
}

TEST_F(Attempting, WaitsOnlyAfterEachMemberHasFailed) {
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(sut_.fail(0, now_), now_);
    EXPECT_EQ(sut_.fail(1, now_), now_);
    EXPECT_GE(sut_.fail(2, now_), now_ + milliseconds(50) * (1 << round));
  }
  sut_.succeed();
  EXPECT_EQ(sut_.fail(0, now_), now_);
}

}  // namespace agent::spf::etcd
