#include "tracking/ConfigTracker.hpp"

#include <atomic>
#include <future>
#include <thread>

#include "spf/test/Gate.hpp"
#include "support/Locking.hpp"
#include "support/Notifications.hpp"
#include "support/RecordedLog.hpp"
#include "support/TestFramework.hpp"
#include "support/configurations.hpp"
#include "support/endpoints.hpp"

namespace spf::test {

using agent::spf::frameworksetup::ConfigTracker;
using std::chrono::milliseconds;

class APublisherTracker : public testing::Test {
 protected:
  using Texts = std::vector<std::string>;

  static std::unique_ptr<ConfigTracker> tracker(List bind, List connect) {
    return std::make_unique<ConfigTracker>(std::move(bind), std::move(connect), true);
  }
  // How often an operation notifies.
  template <class Operation>
  static int notifications(Operation operation) {
    const int before = notificationsFromThisThread();
    operation();
    return notificationsFromThisThread() - before;
  }
  // How often an operation notifies at a moment when another thread can look at the tracker.
  template <class Operation>
  static int looksAtNotifications(ConfigTracker& tracker, Operation operation) {
    int looks = 0;
    const NotificationHook hook([&] {
      const auto look = std::async(std::launch::async, [&] { tracker.listOutstandingEndpoints(); });
      looks += look.wait_for(patience) == std::future_status::ready ? 1 : 0;
    });
    operation();
    return looks;
  }
  static Texts toConnect(ConfigTracker& tracker) { return texts(tracker.listOutstandingEndpoints().first); }
  static Texts toBind(ConfigTracker& tracker) { return texts(tracker.listOutstandingEndpoints().second); }

  RecordedLog log_{4};
};

TEST_F(APublisherTracker, RemovesAnEndpointThatIsListedTwiceEntirelyWithOneBindReport) {
  const auto sut = tracker({text("a"), text("b"), text("a")}, {});
  EXPECT_FALSE(sut->completeEndpointBind(text("a")));
  EXPECT_EQ(toBind(*sut), Texts{"b"});
}

TEST_F(APublisherTracker, NotifiesNobodyWhenOnlyTheBindListGetsEmpty) {
  const auto sut = tracker({text("b")}, {text("c")});
  sut->completeAllServicesPublished();
  bool complete = true;
  EXPECT_EQ(notifications([&] { complete = sut->completeEndpointBind(text("b")); }), 0);
  EXPECT_FALSE(complete);
  EXPECT_EQ(toBind(*sut), Texts{});
}

TEST_F(APublisherTracker, IsCompleteWhenTheLastConnectComesAfterTheServices) {
  const auto sut = tracker({}, {text("c")});
  sut->completeAllServicesPublished();
  bool complete = false;
  EXPECT_EQ(notifications([&] { complete = sut->completeEndpointConnect(text("c")); }), 1);
  EXPECT_TRUE(complete);
  EXPECT_EQ(log_.messages().back(), "ConfigTracker completeEndpointConnect c");
}

TEST_F(APublisherTracker, LogsAndNotifiesOnceWhenServicesAreReportedTwice) {
  const auto sut = tracker({text("b")}, {});
  bool first = true;
  bool second = true;
  EXPECT_EQ(notifications([&] {
              first = sut->completeAllServicesPublished();
              second = sut->completeAllServicesPublished();
            }),
            1);
  EXPECT_FALSE(first);
  EXPECT_FALSE(second);
  EXPECT_EQ(log_.messages(), Texts{"ConfigTracker completeAllServicesPublished"});
}

TEST_F(APublisherTracker, DropsAnErrorThatComesWhenThePublisherIsComplete) {
  const auto sut = tracker({}, {});
  sut->completeAllServicesPublished();
  EXPECT_EQ(notifications([&] { sut->setError(makeError<std::runtime_error>("late")); }), 0);
  EXPECT_TRUE(sut->waitForAllEndpoints(milliseconds(0)));
  EXPECT_TRUE(sut->waitForAllServices(milliseconds(0)));
}

TEST_F(APublisherTracker, WithoutEndpointsIsCompleteAsSoonAsItsServicesArePublished) {
  EXPECT_TRUE(tracker({}, {})->completeAllServicesPublished());
}

TEST_F(APublisherTracker, AnswersTrueAndDoesNothingMoreOnceItIsComplete) {
  const auto sut = tracker({}, {});
  sut->completeAllServicesPublished();
  const auto logged = log_.messages();
  EXPECT_EQ(notifications([&] {
              EXPECT_TRUE(sut->completeEndpointBind(text("x")));
              EXPECT_TRUE(sut->completeEndpointConnect(text("x")));
              EXPECT_TRUE(sut->completeAllServicesPublished());
            }),
            0);
  EXPECT_EQ(log_.messages(), logged);
}

TEST_F(APublisherTracker, AnswersTrueAndRemovesNothingOnceThereIsAnError) {
  const auto sut = tracker({text("b")}, {text("c")});
  sut->setError(makeError<std::runtime_error>("broken"));
  EXPECT_EQ(notifications([&] {
              EXPECT_TRUE(sut->completeEndpointBind(text("b")));
              EXPECT_TRUE(sut->completeEndpointConnect(text("c")));
              EXPECT_TRUE(sut->completeAllServicesPublished());
            }),
            0);
  EXPECT_EQ(toBind(*sut), Texts{"b"});
  EXPECT_EQ(toConnect(*sut), Texts{"c"});
  EXPECT_TRUE(log_.messages().empty());
}

TEST_F(APublisherTracker, IgnoresAnEndpointThatIsNotOutstanding) {
  const auto sut = tracker({text("b")}, {text("c")});
  EXPECT_EQ(notifications([&] {
              EXPECT_FALSE(sut->completeEndpointBind(text("c")));
              EXPECT_FALSE(sut->completeEndpointConnect(text("b")));
            }),
            0);
  EXPECT_TRUE(log_.messages().empty());
}

TEST_F(APublisherTracker, KeepsTheOrderOfWhatRemains) {
  const auto sut = tracker({text("1"), text("2"), text("3"), text("2"), text("4")}, {});
  EXPECT_FALSE(sut->completeEndpointBind(text("2")));
  EXPECT_EQ(toBind(*sut), (Texts{"1", "3", "4"}));
}

TEST_F(APublisherTracker, LogsEachEndpointWithItsText) {
  const auto sut = tracker({text("b"), text("d")}, {Any(7)});
  sut->completeEndpointBind(text("b"));
  sut->completeEndpointConnect(Any(7));
  EXPECT_EQ(log_.records(), (std::vector<LogRecord>{progress("ConfigTracker completeEndpointBind b"),
                                                    progress("ConfigTracker completeEndpointConnect 7")}));
}

TEST_F(APublisherTracker, NotifiesWhenBothListsAreEmptyWithServicesOutstanding) {
  const auto sut = tracker({text("b")}, {});
  bool complete = true;
  EXPECT_EQ(notifications([&] { complete = sut->completeEndpointBind(text("b")); }), 1);
  EXPECT_FALSE(complete);
}

TEST_F(APublisherTracker, NotifiesOnceWhenTheServicesAreUnpublishedTwiceAndLogsNothing) {
  const auto sut = tracker({}, {});
  EXPECT_EQ(notifications([&] {
              sut->completeAllServicesUnpublished();
              sut->completeAllServicesUnpublished();
            }),
            1);
  EXPECT_TRUE(log_.messages().empty());
  EXPECT_TRUE(sut->waitForAllServicesToBeUnpublished(milliseconds(0)));
}

TEST_F(APublisherTracker, NotifiesWhenOthersCanLookAtItAgain) {
  const std::pair<const char*, void (*)(ConfigTracker&)> reports[] = {
      {"bound",
       [](ConfigTracker& sut) {
         sut.completeEndpointConnect(text("c"));
         sut.completeEndpointBind(text("b"));
       }},
      {"connected",
       [](ConfigTracker& sut) {
         sut.completeEndpointBind(text("b"));
         sut.completeEndpointConnect(text("c"));
       }},
      {"published", [](ConfigTracker& sut) { sut.completeAllServicesPublished(); }},
      {"unpublished", [](ConfigTracker& sut) { sut.completeAllServicesUnpublished(); }},
      {"failed", [](ConfigTracker& sut) { sut.setError(makeError<std::runtime_error>("broken")); }}};
  for (const auto& [name, report] : reports) {
    const auto sut = tracker({text("b")}, {text("c")});
    EXPECT_EQ(looksAtNotifications(*sut, [&, report = report] { report(*sut); }), 1) << name;
  }
}

TEST_F(APublisherTracker, NotifiesWhenOthersCanLookAtItAgainAlsoIfLoggingThrew) {
  const auto sut = tracker({text("b")}, {});
  log_.onRecord([](const LogRecord&) { throw std::runtime_error("disk full"); });
  const auto report = [&] { EXPECT_THROW(sut->completeEndpointBind(text("b")), std::runtime_error); };
  EXPECT_EQ(looksAtNotifications(*sut, report), 1);
}

TEST_F(APublisherTracker, KeepsTheFirstOfTwoErrors) {
  const auto sut = tracker({text("b")}, {});
  EXPECT_EQ(notifications([&] {
              sut->setError(makeError<std::runtime_error>("first"));
              sut->setError(makeError<std::runtime_error>("second"));
            }),
            1);
  EXPECT_EQ(messageOf([&] { sut->waitForAllEndpoints(milliseconds(0)); }), "first");
  EXPECT_TRUE(log_.messages().empty());
}

// What a report decides, it decides with the mutex locked: what happens right behind that is too late.
TEST_F(APublisherTracker, HasStoredAnErrorByTheTimeOthersCanLookAtItAgain) {
  const auto sut = tracker({}, {});
  {
    const UnlockingHook completesThePublisher([&] { sut->completeAllServicesPublished(); });
    sut->setError(makeError<std::runtime_error>("broken"));
  }
  EXPECT_EQ(messageOf([&] { sut->waitForAllServices(milliseconds(0)); }), "broken");
}

TEST_F(APublisherTracker, LetsGoOfAnErrorThatItRefusesWhenOthersCanLookAtItAgain) {
  struct Refused {
    std::shared_ptr<void> last;
  };
  const auto sut = tracker({}, {});
  sut->completeAllServicesPublished();
  bool looked = false;
  sut->setError(std::make_exception_ptr(Refused{std::shared_ptr<void>(nullptr, [&](void*) {
    const auto look = std::async(std::launch::async, [&] { sut->listOutstandingEndpoints(); });
    looked = look.wait_for(patience) == std::future_status::ready;
  })}));
  EXPECT_TRUE(looked);
}

TEST_F(APublisherTracker, ListsWhatIsOutstandingAtOneMoment) {
  const auto sut = tracker({text("b")}, {text("c")});
  Texts listed;
  {
    const UnlockingHook hook([&] { sut->completeEndpointBind(text("b")); });
    listed = toBind(*sut);
  }
  EXPECT_EQ(listed, Texts{"b"});
  EXPECT_EQ(toBind(*sut), Texts());
}

TEST_F(APublisherTracker, StoresNothingForAnErrorWithoutException) {
  const auto sut = tracker({text("b")}, {});
  sut->setError(nullptr);
  EXPECT_FALSE(sut->waitForAllEndpoints(milliseconds(0)));
  sut->setError(makeError<std::runtime_error>("real"));
  EXPECT_EQ(messageOf([&] { sut->waitForAllEndpoints(milliseconds(0)); }), "real");
}

TEST_F(APublisherTracker, ComparesValueAndType) {
  const auto sut = tracker({Any(1), Any(1L), Any(1.0), text("1"), Any(true)}, {});
  EXPECT_FALSE(sut->completeEndpointBind(Any(1)));
  EXPECT_EQ(sut->listOutstandingEndpoints().second.size(), 4u);
  EXPECT_FALSE(sut->completeEndpointBind(text("1")));
  EXPECT_EQ(sut->listOutstandingEndpoints().second.size(), 3u);
}

TEST_F(APublisherTracker, KeepsAnEmptyEndpointOutstandingAndLogsNothingForIt) {
  const auto sut = tracker({Any(), text("b")}, {});
  EXPECT_FALSE(sut->completeEndpointBind(Any()));
  EXPECT_TRUE(log_.messages().empty());
  EXPECT_FALSE(sut->completeEndpointBind(text("b")));
  ASSERT_EQ(sut->listOutstandingEndpoints().second.size(), 1u);
  EXPECT_TRUE(sut->listOutstandingEndpoints().second[0].Empty());
}

TEST_F(APublisherTracker, KeepsEndpointsThatHoldAnEmptyValueAtAnyDepthOutstanding) {
  const Any list(List{text("x"), Any()});
  const Any map(AnyMap({{"key", Any()}}));
  const Any nested(List{Any(AnyMap({{"list", list}}))});
  const auto sut = tracker({list, map, nested}, {});
  for (const auto& endpoint : {list, map, nested, Any()}) {
    EXPECT_FALSE(sut->completeEndpointBind(endpoint));
  }
  EXPECT_EQ(sut->listOutstandingEndpoints().second.size(), 3u);
}

TEST_F(APublisherTracker, FindsEndpointsThatAreListsAndMaps) {
  const Any list(List{text("x"), Any(1)});
  const Any map(AnyMap({{"key", list}}));
  const auto sut = tracker({list, map}, {});
  sut->completeEndpointBind(map);
  sut->completeEndpointBind(list);
  EXPECT_TRUE(sut->waitForAllEndpoints(milliseconds(0)));
}

TEST_F(APublisherTracker, KeepsAnEndpointOfATypeThatCannotBeComparedOutstanding) {
  const Any endpoint{IncomparableEndpoint()};
  const auto sut = tracker({endpoint}, {});
  EXPECT_FALSE(sut->completeEndpointBind(endpoint));
  EXPECT_EQ(sut->listOutstandingEndpoints().second.size(), 1u);
}

TEST_F(APublisherTracker, LosesNothingWhenAComparisonThrowsInTheMiddle) {
  const auto sut = tracker(
      {Any(ObservedEndpoint{"x"}), Any(ObservedEndpoint{"a"}),
       Any(ObservedEndpoint{"b", [] { throw std::runtime_error("incomparable"); }}), Any(ObservedEndpoint{"c"})},
      {});
  EXPECT_EQ(messageOf([&] { sut->completeEndpointBind(Any(ObservedEndpoint{"x"})); }), "incomparable");
  std::vector<std::string> names;
  for (const auto& endpoint : sut->listOutstandingEndpoints().second) {
    names.push_back(cppmicroservices::any_cast<ObservedEndpoint>(endpoint).name);
  }
  EXPECT_EQ(names, (Texts{"x", "a", "b", "c"}));
  EXPECT_TRUE(log_.messages().empty());
}

TEST_F(APublisherTracker, ComparesEachOutstandingEndpointOncePerReport) {
  int comparisons = 0;
  const auto count = [&] { ++comparisons; };
  const auto sut = tracker(
      {Any(ObservedEndpoint{"a", count}), Any(ObservedEndpoint{"b", count}), Any(ObservedEndpoint{"c", count})}, {});
  sut->completeEndpointBind(Any(ObservedEndpoint{"b"}));
  EXPECT_EQ(comparisons, 3);
  sut->completeEndpointBind(Any(ObservedEndpoint{"b"}));
  EXPECT_EQ(comparisons, 5);
}

TEST_F(APublisherTracker, KeepsTheEndpointRemovedAndWakesWaitersWhenLoggingThrows) {
  const auto sut = tracker({text("b")}, {});
  log_.onRecord([](const LogRecord&) { throw std::runtime_error("disk full"); });
  std::thread waiter([&] { EXPECT_TRUE(sut->waitForAllEndpoints(patience)); });
  EXPECT_EQ(notifications([&] { EXPECT_EQ(messageOf([&] { sut->completeEndpointBind(text("b")); }), "disk full"); }),
            1);
  waiter.join();
  log_.onRecord(nullptr);
  EXPECT_TRUE(sut->completeAllServicesPublished());
}

TEST_F(APublisherTracker, DoesNotCountTheServicesAsPublishedWhenLoggingThrows) {
  const auto sut = tracker({}, {});
  log_.onRecord([](const LogRecord&) { throw 42; });
  EXPECT_EQ(notifications([&] { EXPECT_THROW(sut->completeAllServicesPublished(), int); }), 0);
  EXPECT_FALSE(sut->waitForAllServices(milliseconds(0)));
  log_.onRecord(nullptr);
  EXPECT_TRUE(sut->completeAllServicesPublished());
}

TEST_F(APublisherTracker, KeepsTheEndpointRemovedWhenItsTextThrows) {
  const auto sut = tracker({Any(ObservedEndpoint{"b"}), text("other")}, {});
  EXPECT_EQ(messageOf([&] {
              sut->completeEndpointBind(Any(ObservedEndpoint{"b", [] {}, [] { throw std::runtime_error("no text"); }}));
            }),
            "no text");
  EXPECT_EQ(sut->listOutstandingEndpoints().second.size(), 1u);
  EXPECT_TRUE(log_.messages().empty());
}

// ThreadSanitizer sees whatever one of them does outside of the lock.
TEST_F(APublisherTracker, MayBeUsedByTwoThreadsInTurnThatNothingElseOrders) {
  using Operation = void (*)(ConfigTracker&);
  const Operation operations[] = {
      [](ConfigTracker& sut) { sut.completeEndpointBind(Any(std::string("b"))); },
      [](ConfigTracker& sut) { sut.completeEndpointConnect(Any(std::string("c"))); },
      [](ConfigTracker& sut) { sut.completeAllServicesPublished(); },
      [](ConfigTracker& sut) { sut.completeAllServicesUnpublished(); },
      [](ConfigTracker& sut) { sut.setError(std::make_exception_ptr(std::runtime_error("refused"))); },
      [](ConfigTracker& sut) { sut.listOutstandingEndpoints(); },
      [](ConfigTracker& sut) {
        try {
          sut.waitForAllServices(milliseconds::zero());
        } catch (const std::runtime_error&) {
        }
      }};
  for (const auto one : operations) {
    for (const auto other : operations) {
      const auto sut = tracker({Any(std::string("b"))}, {Any(std::string("c"))});
      // One after the other, but by nothing that ThreadSanitizer takes for an order.
      std::atomic<bool> isFirstDone{false};
      std::thread first([&] {
        one(*sut);
        isFirstDone.store(true, std::memory_order_relaxed);
      });
      std::thread second([&] {
        while (!isFirstDone.load(std::memory_order_relaxed)) {
          std::this_thread::yield();
        }
        other(*sut);
      });
      first.join();
      second.join();
      EXPECT_LE(toBind(*sut).size(), 1u);
    }
  }
}

}  // namespace spf::test
