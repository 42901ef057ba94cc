#include <future>
#include <thread>

#include "spf/test/Gate.hpp"
#include "support/ConfigurationAdminDouble.hpp"
#include "support/configurations.hpp"

namespace spf::test {

using std::chrono::milliseconds;
using Texts = std::vector<std::string>;

class Waiting : public testing::Test {
 protected:
  SPFConfiguration configuration(SPFServicePublisherConfiguration record) {
    return SPFConfigurationBuilder("waited-for").addServicePublisher(std::move(record)).build();
  }
  static std::pair<Texts, Texts> outstanding(SPFConfiguration& sut, const std::string& id) {
    const auto lists = sut.listOutstandingEndpoints(id);
    return {texts(lists.first), texts(lists.second)};
  }

  FrameworkWithConfigurationAdmin framework_;
};

TEST_F(Waiting, ForEndpointsOfAPublisherWithoutAnyReturnsTrueAtOnce) {
  auto sut = configuration(publisher("p"));
  EXPECT_TRUE(sut.waitForAllEndpoints(noWait, "p"));
}

TEST_F(Waiting, ForServicesForNoTimeReturnsTrueOnlyOnceTheyArePublished) {
  auto sut = configuration(publisher("p"));
  EXPECT_FALSE(sut.waitForAllServices(noWait, "p"));
  framework_.sendPublished("p", 1);
  EXPECT_TRUE(sut.waitForAllServices(noWait, "p"));
}

TEST_F(Waiting, ThrowsAnErrorThatArrivesMeanwhileAndThrowsItAgainLater) {
  auto sut = configuration(publisher("p", {text("c")}));
  Gate entered;
  auto waiter = std::async(std::launch::async, [&] {
    entered.open();
    return sut.waitForAllEndpoints(patience, "p");
  });
  ASSERT_TRUE(entered.wait());
  framework_.sendError("p", 1, makeError<std::runtime_error>("port taken"));
  EXPECT_EQ(messageOf([&] { waiter.get(); }), "port taken");
  EXPECT_EQ(messageOf([&] { static_cast<void>(sut.waitForAllServices(patience, "p")); }), "port taken");
}

TEST_F(Waiting, IsAccompaniedByTheListOfWhatIsOutstandingConnectsFirst) {
  auto sut = configuration(publisher("p", {text("B"), text("C")}, {text("A")}));
  EXPECT_EQ(outstanding(sut, "p"), (std::pair<Texts, Texts>{{"B", "C"}, {"A"}}));
  framework_.sendConnected("p", 1, text("B"));
  EXPECT_EQ(outstanding(sut, "p"), (std::pair<Texts, Texts>{{"C"}, {"A"}}));
}

TEST_F(Waiting, OnAnEmptyHandleReturnsFalseAndListsNothing) {
  SPFConfiguration defaulted;
  auto movedFrom = configuration(publisher("p"));
  const auto holder = std::move(movedFrom);
  auto reset = SPFConfigurationBuilder("reset").build();
  reset.reset();
  for (auto* sut : {&defaulted, &movedFrom, &reset}) {
    EXPECT_FALSE(sut->waitForAllEndpoints(patience, "p"));
    EXPECT_FALSE(sut->waitForAllServices(patience, "p"));
    EXPECT_FALSE(sut->waitForAllServicesToBeUnpublished(patience, "p"));
    EXPECT_TRUE(sut->listOutstandingEndpoints("p").first.empty());
    EXPECT_TRUE(sut->listOutstandingEndpoints("p").second.empty());
  }
}

TEST_F(Waiting, ForAPublisherThatTheConfigurationDoesNotHaveThrowsOutOfRange) {
  auto sut = configuration(publisher("p"));
  EXPECT_THROW(static_cast<void>(sut.waitForAllEndpoints(patience, "q")), std::out_of_range);
  EXPECT_THROW(static_cast<void>(sut.waitForAllServices(patience, "q")), std::out_of_range);
  EXPECT_THROW(static_cast<void>(sut.listOutstandingEndpoints("q")), std::out_of_range);
}

TEST_F(Waiting, ForAHundredYearsBlocksUntilTheConditionHolds) {
  auto sut = configuration(publisher("p"));
  const milliseconds hundredYears = std::chrono::hours(24) * 36525;
  Gate entered;
  auto waiter = std::async(std::launch::async, [&] {
    entered.open();
    return sut.waitForAllServices(hundredYears, "p");
  });
  ASSERT_TRUE(entered.wait());
  EXPECT_EQ(waiter.wait_for(milliseconds(20)), std::future_status::timeout);
  framework_.sendPublished("p", 1);
  EXPECT_TRUE(waiter.get());
}

TEST_F(Waiting, ForEndpointsDoesNotWaitForServicesNorTheOtherWayRound) {
  auto sut = configuration(publisher("p", {text("c")}, {text("b")}));
  framework_.sendPublished("p", 1);
  EXPECT_TRUE(sut.waitForAllServices(noWait, "p"));
  EXPECT_FALSE(sut.waitForAllEndpoints(noWait, "p"));

  auto other = SPFConfigurationBuilder("other").addServicePublisher(publisher("q", {text("c")}, {text("b")})).build();
  framework_.sendBound("q", 1, text("b"));
  EXPECT_FALSE(other.waitForAllEndpoints(noWait, "q"));
  framework_.sendConnected("q", 1, text("c"));
  EXPECT_TRUE(other.waitForAllEndpoints(noWait, "q"));
  EXPECT_FALSE(other.waitForAllServices(noWait, "q"));
}

TEST_F(Waiting, IsForOnePublisherOnly) {
  auto sut = SPFConfigurationBuilder("two")
                 .addServicePublisher(publisher("p", {}, {text("x")}))
                 .addServicePublisher(publisher("q", {}, {text("x")}))
                 .build();
  framework_.sendBound("p", 1, text("x"));
  framework_.sendError("q", 1, makeError<std::runtime_error>("broken"));
  EXPECT_TRUE(sut.waitForAllEndpoints(noWait, "p"));
  EXPECT_THROW(static_cast<void>(sut.waitForAllEndpoints(noWait, "q")), std::runtime_error);
}

TEST_F(Waiting, IgnoresAnswersToAnOlderRevision) {
  auto sut = configuration(publisher("p"));
  sut = sut.modify().build();
  framework_.sendPublished("p", 1);
  EXPECT_FALSE(sut.waitForAllServices(noWait, "p"));
  framework_.sendPublished("p", 2);
  EXPECT_TRUE(sut.waitForAllServices(noWait, "p"));
}

TEST_F(Waiting, StillAnswersAfterModifyTookTheIdentity) {
  auto sut = configuration(publisher("p"));
  const auto builder = sut.modify();
  framework_.sendPublished("p", 1);
  EXPECT_TRUE(sut.waitForAllServices(noWait, "p"));
}

TEST_F(Waiting, KeepsReturningTrueAfterALateError) {
  auto sut = configuration(publisher("p"));
  framework_.sendPublished("p", 1);
  framework_.sendError("p", 1, makeError<std::runtime_error>("late"));
  EXPECT_TRUE(sut.waitForAllServices(noWait, "p"));
  EXPECT_TRUE(sut.waitForAllEndpoints(noWait, "p"));
}

TEST_F(Waiting, OfManyThreadsEndsWithTheEventsOfManyThreads) {
  SPFConfigurationBuilder builder("many");
  constexpr int publishers = 4;
  for (int i = 0; i < publishers; ++i) {
    List bind;
    for (int e = 0; e < 8; ++e) {
      bind.emplace_back(e);
    }
    builder.addServicePublisher(publisher("p" + std::to_string(i), {}, std::move(bind)));
  }
  auto sut = builder.build();
  std::vector<std::future<bool>> waits;
  for (int i = 0; i < publishers; ++i) {
    const auto id = "p" + std::to_string(i);
    waits.push_back(std::async(std::launch::async, [&sut, id] { return sut.waitForAllEndpoints(patience, id); }));
    waits.push_back(std::async(std::launch::async, [&sut, id] { return sut.waitForAllServices(patience, id); }));
  }
  std::vector<std::thread> senders;
  for (int i = 0; i < publishers; ++i) {
    senders.emplace_back([this, i] {
      const auto id = "p" + std::to_string(i);
      framework_.sendPublished(id, 1);
      for (int e = 0; e < 8; ++e) {
        framework_.sendBound(id, 1, Any(e));
      }
    });
  }
  for (auto& wait : waits) {
    EXPECT_TRUE(wait.get());
  }
  for (auto& sender : senders) {
    sender.join();
  }
  EXPECT_EQ(framework_.listeners(), 0u);
}

TEST(WaitingWithoutConfigurationAdmin, ReturnsFalseAndListsNothingForAnyPublisher) {
  TestFramework framework;
  auto sut = SPFConfigurationBuilder("nowhere").addServicePublisher(publisher("p", {text("c")}, {text("b")})).build();
  EXPECT_FALSE(sut.waitForAllEndpoints(patience, "p"));
  EXPECT_FALSE(sut.waitForAllServices(patience, "unknown"));
  for (const auto* id : {"p", "unknown"}) {
    const auto [toConnect, toBind] = sut.listOutstandingEndpoints(id);
    EXPECT_TRUE(toConnect.empty()) << id;
    EXPECT_TRUE(toBind.empty()) << id;
  }
}

}  // namespace spf::test
