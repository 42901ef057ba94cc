#include <future>

#include <cppmicroservices/ServiceEvent.h>

#include "spf/test/Gate.hpp"
#include "support/ConfigurationAdminDouble.hpp"
#include "support/RecordedLog.hpp"
#include "support/configurations.hpp"

namespace spf::test {

using std::chrono::milliseconds;
using Texts = std::vector<std::string>;

const LogRecord swallowed{512, "agent::spf::frameworksetup",
                          "removeFromConfigurationAdmin() in waitForAllServicesToBeUnpublished() threw."};

class Removing : public testing::Test {
 protected:
  FrameworkWithConfigurationAdmin framework_;
  SPFConfiguration sut = SPFConfigurationBuilder("removed").addServicePublisher(publisher("p")).build();
  RecordedLog log_{~0u};
};

TEST_F(Removing, ByResetLogsDeletesAndEmptiesTheHandleWithoutWaiting) {
  sut.reset();
  EXPECT_EQ(log_.records(), std::vector<LogRecord>{progress("About to remove spf configuration for removed")});
  EXPECT_TRUE(framework_.configurationIDs().empty());
  EXPECT_TRUE(sut.empty());
  EXPECT_EQ(framework_.listeners(), 0u);
}

TEST_F(Removing, WaitsToItsTimeOutSilentlyWithoutConfigurationAdmin) {
  framework_.stopConfigurationAdmin();
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(sut.waitForAllServicesToBeUnpublished(milliseconds(20), "p"));
  EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(20));
  EXPECT_TRUE(log_.records().empty());
  EXPECT_EQ(sut.getConfigurationID(), "");
}

TEST_F(Removing, StillHearsOfTheUnpublishingWhenConfigurationAdminHasGoneAway) {
  framework_.stopConfigurationAdmin();
  auto waiter = std::async(std::launch::async, [&] { return sut.waitForAllServicesToBeUnpublished(patience, "p"); });
  framework_.sendUnpublished("p", 1);
  EXPECT_TRUE(waiter.get());
}

TEST_F(Removing, CallsConfigurationAdminNoMoreWhenTheHandleIsDestroyed) {
  framework_.sendUnpublished("p", 1);
  EXPECT_TRUE(sut.waitForAllServicesToBeUnpublished(noWait, "p"));
  framework_.stopConfigurationAdmin();
  const auto admin = ConfigurationAdminDouble::registerWith(framework_);
  sut.reset();
  EXPECT_TRUE(admin->calls().empty());
}

TEST_F(Removing, AfterModifyDeletesNothingButWaitsForTheUnpublishEvent) {
  framework_.sendPublished("p", 1);
  ASSERT_EQ(framework_.listeners(), 0u);
  const auto logged = log_.records();
  const auto builder = sut.modify();
  auto waiter = std::async(std::launch::async, [&] { return sut.waitForAllServicesToBeUnpublished(patience, "p"); });
  ASSERT_TRUE(framework_.waitForAListener());
  framework_.sendUnpublished("p", 1);
  EXPECT_TRUE(waiter.get());
  EXPECT_EQ(framework_.configurationIDs(), Texts{"removed"});
  EXPECT_EQ(log_.records(), logged);
}

TEST_F(Removing, DeletesTheConfigurationClearsItsIDAndKeepsTheHandle) {
  EXPECT_FALSE(sut.waitForAllServicesToBeUnpublished(noWait, "p"));
  EXPECT_TRUE(framework_.configurationIDs().empty());
  EXPECT_EQ(sut.getConfigurationID(), "");
  EXPECT_FALSE(sut.empty());
  EXPECT_EQ(idsOf(sut.getServicePublisherConfigurations()), Texts{"p"});
  EXPECT_EQ(log_.records(), std::vector<LogRecord>{progress("About to remove spf configuration for removed")});
}

TEST_F(Removing, UnregistersTheListenerAfterATimeOutToo) {
  EXPECT_FALSE(sut.waitForAllServicesToBeUnpublished(noWait, "p"));
  EXPECT_EQ(framework_.listeners(), 0u);
}

TEST_F(Removing, RegistersTheListenerAgainThatCompletionUnregistered) {
  framework_.sendPublished("p", 1);
  ASSERT_EQ(framework_.listeners(), 0u);
  auto waiter = std::async(std::launch::async, [&] { return sut.waitForAllServicesToBeUnpublished(patience, "p"); });
  ASSERT_TRUE(framework_.waitForAListener());
  framework_.sendUnpublished("p", 1);
  EXPECT_TRUE(waiter.get());
  EXPECT_EQ(framework_.listeners(), 0u);
}

// The service listener runs with the registration's mutex locked: a callback would lock that once more.
TEST_F(Removing, CallsNothingBackForACompletionInsideTheRegistration) {
  framework_.sendPublished("p", 1);
  ASSERT_EQ(framework_.listeners(), 0u);
  auto context = framework_.context();
  auto token = context.AddServiceListener([&](const cppmicroservices::ServiceEvent& event) {
    if (event.GetType() == cppmicroservices::ServiceEvent::SERVICE_REGISTERED) {
      framework_.sendPublished("p", 1);
      framework_.sendUnpublished("p", 1);
    }
  });
  EXPECT_TRUE(sut.waitForAllServicesToBeUnpublished(noWait, "p"));
  context.RemoveListener(std::move(token));
}

TEST_F(Removing, TwiceFindsAPublisherUnpublishedAtOnce) {
  framework_.sendUnpublished("p", 1);
  EXPECT_TRUE(sut.waitForAllServicesToBeUnpublished(noWait, "p"));
  EXPECT_TRUE(sut.waitForAllServicesToBeUnpublished(noWait, "p"));
  EXPECT_EQ(log_.records().size(), 1u);
  EXPECT_EQ(framework_.listeners(), 0u);
}

TEST_F(Removing, TwiceStillHearsOfTheUnpublishingTheSecondTime) {
  EXPECT_FALSE(sut.waitForAllServicesToBeUnpublished(noWait, "p"));
  auto waiter = std::async(std::launch::async, [&] { return sut.waitForAllServicesToBeUnpublished(patience, "p"); });
  ASSERT_TRUE(framework_.waitForAListener());
  framework_.sendUnpublished("p", 1);
  EXPECT_TRUE(waiter.get());
}

TEST_F(Removing, ThrowsAnErrorStoredBeforeAndHasWithdrawnByThen) {
  framework_.sendError("p", 1, makeError<std::runtime_error>("port taken"));
  EXPECT_EQ(messageOf([&] { static_cast<void>(sut.waitForAllServicesToBeUnpublished(patience, "p")); }), "port taken");
  EXPECT_TRUE(framework_.configurationIDs().empty());
  EXPECT_EQ(sut.getConfigurationID(), "");
  EXPECT_EQ(framework_.listeners(), 1u);
  sut.reset();
  EXPECT_EQ(framework_.listeners(), 0u);
}

TEST_F(Removing, ThrowsOutOfRangeForAnUnknownPublisherAndHasWithdrawnByThen) {
  EXPECT_THROW(static_cast<void>(sut.waitForAllServicesToBeUnpublished(patience, "q")), std::out_of_range);
  EXPECT_TRUE(framework_.configurationIDs().empty());
  EXPECT_EQ(sut.getConfigurationID(), "");
  EXPECT_EQ(framework_.listeners(), 1u);
}

TEST_F(Removing, ByResetDoesNothingOnAnEmptyHandle) {
  SPFConfiguration empty;
  EXPECT_NO_THROW(empty.reset());
  EXPECT_TRUE(log_.records().empty());
}

TEST_F(Removing, InAStoppedFrameworkLogsItsOneMessageAndReturnsFalse) {
  framework_.stop();
  EXPECT_FALSE(sut.waitForAllServicesToBeUnpublished(noWait, "p"));
  EXPECT_EQ(log_.records(), std::vector<LogRecord>{swallowed});
  EXPECT_EQ(sut.getConfigurationID(), "");
}

TEST_F(Removing, InAStoppedFrameworkThrowsThatItCannotListenAgain) {
  framework_.sendPublished("p", 1);
  framework_.stop();
  EXPECT_EQ(messageOf([&] { static_cast<void>(sut.waitForAllServicesToBeUnpublished(noWait, "p")); }),
            "The bundle context is no longer valid");
  EXPECT_EQ(sut.getConfigurationID(), "removed");
}

TEST_F(Removing, InAStoppedFrameworkIsSilentWhenTheHandleIsDestroyed) {
  framework_.stop();
  sut.reset();
  EXPECT_TRUE(log_.records().empty());
}

TEST_F(Removing, WithoutAFrameworkSaysSoWhenItHasToListenAgain) {
  framework_.sendPublished("p", 1);
  framework_.host().setFramework(nullptr);
  EXPECT_EQ(messageOf([&] { static_cast<void>(sut.waitForAllServicesToBeUnpublished(noWait, "p")); }),
            "Cannot listen for the framework's events: the process has no framework");
}

class RemovingThroughADouble : public testing::Test {
 protected:
  TestFramework framework_;
  std::shared_ptr<ConfigurationAdminDouble> admin_ = ConfigurationAdminDouble::registerWith(framework_);
  SPFConfiguration sut = SPFConfigurationBuilder("x").addServicePublisher(publisher("p")).build();
  RecordedLog log_{~0u};
};

TEST_F(RemovingThroughADouble, RequestsTheDeletionWhenTheListenerIsReadyForTheAnswer) {
  framework_.sendPublished("p", 1);
  std::size_t listenersAtRemove = 0;
  admin_->onCall([&](const std::string& call) {
    if (call.rfind("Remove", 0) == 0) {
      listenersAtRemove = framework_.listeners();
      framework_.sendPublished("p", 1);
      framework_.sendUnpublished("p", 1);
    }
  });
  EXPECT_TRUE(sut.waitForAllServicesToBeUnpublished(noWait, "p"));
  EXPECT_EQ(listenersAtRemove, 1u);
}

TEST_F(RemovingThroughADouble, ByResetDeletesWithTheHandleEmptyAndTheListenerStillThere) {
  int removals = 0;
  admin_->onCall([&](const std::string& call) {
    if (call.rfind("Remove", 0) == 0) {
      ++removals;
      EXPECT_TRUE(sut.empty());
      EXPECT_EQ(framework_.listeners(), 1u);
    }
  });
  sut.reset();
  EXPECT_EQ(removals, 1);
  EXPECT_EQ(framework_.listeners(), 0u);
}

TEST_F(RemovingThroughADouble, LeavesTheListenerRegisteredWhenACompletionComesLate) {
  Gate removed;
  admin_->onCall([&](const std::string& call) {
    if (call.rfind("Remove", 0) == 0) {
      removed.open();
    }
  });
  auto waiter = std::async(std::launch::async, [&] { return sut.waitForAllServicesToBeUnpublished(patience, "p"); });
  ASSERT_TRUE(removed.wait());
  framework_.sendPublished("p", 1);
  EXPECT_EQ(framework_.listeners(), 1u);
  framework_.sendUnpublished("p", 1);
  EXPECT_TRUE(waiter.get());
}

// Configuration Admin answers when its own thread comes round to it, which may be never.
class WithAConfigurationAdminThatNeverAnswers : public testing::Test {
 protected:
  WithAConfigurationAdminThatNeverAnswers() { admin_->withholdAnswers(); }

  // Whether an operation ends although there is no answer; it gets one afterwards in any case.
  template <class Operation>
  bool ends(Operation operation) {
    auto running = std::async(std::launch::async, operation);
    const bool ended = running.wait_for(patience) == std::future_status::ready;
    admin_->answerAll();
    running.get();
    return ended;
  }

  TestFramework framework_;
  std::shared_ptr<ConfigurationAdminDouble> admin_ = ConfigurationAdminDouble::registerWith(framework_);
};

TEST_F(WithAConfigurationAdminThatNeverAnswers, BuildingReturnsTheConfiguration) {
  SPFConfiguration sut;
  EXPECT_TRUE(ends([&] { sut = SPFConfigurationBuilder("x").build(); }));
  EXPECT_EQ(sut.getConfigurationID(), "x");
  EXPECT_TRUE(admin_->properties("zk.spf.framework~x"));
}

TEST_F(WithAConfigurationAdminThatNeverAnswers, ResettingWithdrawsTheConfiguration) {
  auto sut = SPFConfigurationBuilder("x").build();
  EXPECT_TRUE(ends([&] { sut.reset(); }));
  EXPECT_FALSE(admin_->properties("zk.spf.framework~x"));
}

TEST_F(WithAConfigurationAdminThatNeverAnswers, DroppingABuilderMadeByModifyWithdrawsTheConfiguration) {
  auto sut = SPFConfigurationBuilder("x").build();
  EXPECT_TRUE(ends([&] { static_cast<void>(sut.modify()); }));
  EXPECT_FALSE(admin_->properties("zk.spf.framework~x"));
}

TEST_F(WithAConfigurationAdminThatNeverAnswers, WaitingForTheUnpublishingEndsWithTheUnpublishEvent) {
  auto sut = SPFConfigurationBuilder("x").addServicePublisher(publisher("p")).build();
  framework_.sendUnpublished("p", 1);
  bool unpublished = false;
  EXPECT_TRUE(ends([&] { unpublished = sut.waitForAllServicesToBeUnpublished(patience, "p"); }));
  EXPECT_TRUE(unpublished);
  EXPECT_FALSE(admin_->properties("zk.spf.framework~x"));
}

TEST(RemovingWithoutConfigurationAdmin, ReturnsFalseAndChangesNothing) {
  TestFramework framework;
  auto sut = SPFConfigurationBuilder("nowhere").addServicePublisher(publisher("p")).build();
  EXPECT_FALSE(sut.waitForAllServicesToBeUnpublished(patience, "p"));
  EXPECT_FALSE(sut.empty());
  EXPECT_EQ(framework.listeners(), 0u);
}

}  // namespace spf::test
