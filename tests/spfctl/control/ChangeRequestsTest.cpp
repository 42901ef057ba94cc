#include "control/ChangeRequests.hpp"

#include <gmock/gmock.h>

#include "control/ReplyDouble.hpp"

namespace spf::test {

using spfctl::ApplyRequest;
using spfctl::ChangeRequests;

namespace {

class RequestsForChanges : public testing::Test {
 protected:
  static ApplyRequest apply(const std::string& file, std::shared_ptr<ReplyDouble> reply = makeReply()) {
    return {file, "{}", std::chrono::seconds(1), false, std::move(reply)};
  }

  spfctl::Changes changes_;
  ChangeRequests sut_{changes_};
};

}  // namespace

TEST_F(RequestsForChanges, AreTakenInTheirOrder) {
  EXPECT_FALSE(sut_.next());
  sut_.add(apply("first"));
  sut_.add(apply("second"));
  EXPECT_EQ(sut_.next()->file, "first");
  EXPECT_EQ(sut_.next()->file, "second");
  EXPECT_FALSE(sut_.next());
}

TEST_F(RequestsForChanges, WakeTheSession) {
  sut_.add(apply("f"));
  EXPECT_EQ(changes_.count(), 1u);
  EXPECT_FALSE(sut_.isWithdrawalRequested());
  sut_.addWithdrawal(makeReply());
  EXPECT_EQ(changes_.count(), 2u);
  EXPECT_TRUE(sut_.isWithdrawalRequested());
}

TEST_F(RequestsForChanges, AreAllAnsweredAtTheEndOfAHostThatIsWithdrawn) {
  const auto applying = makeReply();
  const auto withdrawing = makeReply();
  const auto too = makeReply();
  sut_.add(apply("f", applying));
  sut_.addWithdrawal(withdrawing);
  sut_.addWithdrawal(too);
  EXPECT_FALSE(withdrawing->isFinished());
  sut_.close(true);
  EXPECT_EQ(codeIn(applying->answer()), 1);
  EXPECT_EQ(errorIn(applying->answer()), "the host is ending");
  EXPECT_TRUE(withdrawing->answer()["ok"]);
  EXPECT_TRUE(too->answer()["ok"]);
  EXPECT_FALSE(sut_.next());
}

TEST_F(RequestsForChanges, ToWithdrawFailAtTheEndOfAHostThatIsNotWithdrawnInTime) {
  const auto withdrawing = makeReply();
  sut_.addWithdrawal(withdrawing);
  sut_.close(false);
  EXPECT_EQ(codeIn(withdrawing->answer()), 4);
  EXPECT_EQ(errorIn(withdrawing->answer()), "not every publisher was unpublished");
}

TEST_F(RequestsForChanges, FailAfterTheEnd) {
  sut_.close(true);
  const auto applying = makeReply();
  const auto withdrawing = makeReply();
  sut_.add(apply("f", applying));
  sut_.addWithdrawal(withdrawing);
  EXPECT_EQ(errorIn(applying->answer()), "the host is ending");
  EXPECT_EQ(errorIn(withdrawing->answer()), "the host is ending");
  EXPECT_FALSE(sut_.next());
}

}  // namespace spf::test
