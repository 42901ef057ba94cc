#include <atomic>
#include <memory>
#include <optional>
#include <set>
#include <thread>

#include <cppmicroservices/AnyMap.h>
#include <gmock/gmock.h>
#include "support/FakeDiscovery.hpp"
#include "support/RunningFramework.hpp"

namespace {

using agent::spf::frameworkinterfaces::Announcement;
using agent::spf::frameworkinterfaces::DiscoveredAddress;
using agent::spf::frameworkinterfaces::Discovery;
using agent::spf::frameworkinterfaces::DiscoveryListener;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using frameworktest::RunningFramework;
using spf::test::Counter;
using spf::test::Gate;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;

/// Calls a function of the test for each reported change.
class Listener : public DiscoveryListener {
 public:
  explicit Listener(std::function<void()> onChange) : onChange_(std::move(onChange)) {}
  void discoveryChanged() override { onChange_(); }

 private:
  const std::function<void()> onChange_;
};

class ATable : public testing::Test {
 protected:
  std::string reasonOf(const std::string& name) const {
    try {
      sut->addressesOf(name);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "";
  }

  std::unique_ptr<Announcement> announce(const std::string& name, const std::string& address) {
    return sut->announce({name, address, "", "weather"});
  }

  /// Registers a listener. A test stops the table before what its function uses goes, since that ends the calls.
  void listen(std::function<void()> onChange) {
    framework.context().RegisterService<DiscoveryListener>(std::make_shared<Listener>(std::move(onChange)));
  }

  void stop() { framework.bundle("spf_table_discovery").Stop(); }

  RunningFramework framework{
      AnyMap(AnyMap::ORDERED_MAP,
             {{"fixed", std::vector<Any>{std::string("tcp://a:1"), std::string("tcp://b:2"), std::string("tcp://a:1")}},
              {"empty", std::vector<Any>{}}})};
  const std::shared_ptr<Discovery> sut = framework.service<Discovery>();
};

constexpr auto unknownName = "the discovery does not know the name";

TEST_F(ATable, HasEachFixedAddressOnce) {
  EXPECT_THAT(sut->addressesOf("fixed"),
              ElementsAre(DiscoveredAddress{"tcp://a:1", "", ""}, DiscoveredAddress{"tcp://b:2", "", ""}));
}

TEST_F(ATable, HasAReasonForANameWithoutAnAddress) {
  EXPECT_EQ(reasonOf("empty"), unknownName);
  EXPECT_EQ(reasonOf("nobody"), unknownName);
}

TEST_F(ATable, HasAnnouncedAddressesBehindTheFixedOnesAsLongAsTheyAreAnnounced) {
  auto first = sut->announce({"fixed", "tcp://c:3", "key", "weather"});
  auto second = announce("fixed", "tcp://a:1");
  EXPECT_THAT(sut->addressesOf("fixed"),
              ElementsAre(DiscoveredAddress{"tcp://a:1", "", ""}, DiscoveredAddress{"tcp://b:2", "", ""},
                          DiscoveredAddress{"tcp://c:3", "key", first->id()},
                          DiscoveredAddress{"tcp://a:1", "", second->id()}));
  first.reset();
  EXPECT_THAT(sut->addressesOf("fixed"),
              ElementsAre(DiscoveredAddress{"tcp://a:1", "", ""}, DiscoveredAddress{"tcp://b:2", "", ""},
                          DiscoveredAddress{"tcp://a:1", "", second->id()}));
}

TEST_F(ATable, ForgetsANameWithItsLastAddress) {
  auto announcement = announce("station", "tcp://a:1");
  EXPECT_THAT(sut->addressesOf("station"), ElementsAre(DiscoveredAddress{"tcp://a:1", "", announcement->id()}));
  announcement.reset();
  EXPECT_EQ(reasonOf("station"), unknownName);
}

TEST_F(ATable, GivesEachAnnouncementAnIDThatNoOtherHas) {
  std::set<std::string> ids;
  for (int i = 0; i < 100; ++i) {
    const auto id = announce("station", "tcp://a:1")->id();
    EXPECT_THAT(id, MatchesRegex("[0-9a-f]{16}-[0-9]+"));
    ids.insert(id);
  }
  EXPECT_EQ(ids.size(), 100u);
}

TEST_F(ATable, ReportsEachChangeOnAThreadOfItsOwn) {
  Counter calls;
  std::atomic<bool> isOwnThread{true};
  const auto caller = std::this_thread::get_id();
  listen([&] {
    isOwnThread = isOwnThread && std::this_thread::get_id() != caller;
    calls.add();
  });
  auto announcement = announce("station", "tcp://a:1");
  EXPECT_TRUE(calls.waitFor(1));
  announcement.reset();
  EXPECT_TRUE(calls.waitFor(2));
  EXPECT_TRUE(isOwnThread);
  stop();
}

TEST_F(ATable, ReportsManyChangesDuringACallAtOnce) {
  Counter calls;
  Gate mayReturn;
  listen([&] {
    calls.add();
    EXPECT_TRUE(mayReturn.wait());
  });
  const auto first = announce("station", "tcp://a:1");
  ASSERT_TRUE(calls.waitFor(1));
  for (int i = 0; i < 10; ++i) {
    announce("station", "tcp://b:2");
  }
  mayReturn.open();
  stop();
  EXPECT_LE(calls.count(), 3);  // one for the announcements, and one for the stop
}

TEST_F(ATable, AllowsAListenerToAnnounceAndToAskIt) {
  Gate isDone;
  std::unique_ptr<Announcement> second;
  listen([&] {
    if (!second) {
      second = announce("display", "tcp://b:2");
      EXPECT_EQ(sut->addressesOf("station").size(), 1u);
      isDone.open();
    }
  });
  const auto first = announce("station", "tcp://a:1");
  EXPECT_TRUE(isDone.wait());
  stop();
}

TEST_F(ATable, CallsEveryListenerAlsoIfOneThrows) {
  Counter calls;
  listen([] { throw 42; });
  listen([&] { calls.add(); });
  listen([] { throw std::runtime_error("no"); });
  const auto announcement = announce("station", "tcp://a:1");
  EXPECT_TRUE(calls.waitFor(1));
  stop();
}

TEST_F(ATable, ReportsItsEndOnceItIsUnregisteredAndRefusesAnnouncementsByThen) {
  std::atomic<bool> isUnregistered{false};
  std::atomic<bool> isRefused{false};
  listen([&] {
    isUnregistered = framework.service<Discovery>() == nullptr;
    try {
      announce("station", "tcp://a:1");
    } catch (const std::runtime_error& error) {
      EXPECT_THAT(error.what(), testing::AllOf(HasSubstr("'station'"), HasSubstr("'tcp://a:1'")));
      isRefused = true;
    }
  });
  stop();
  EXPECT_TRUE(isUnregistered);
  EXPECT_TRUE(isRefused);
}

TEST_F(ATable, MayBeStoppedByAListener) {
  Gate isStopped;
  std::atomic<bool> isFirst{true};
  listen([&] {
    if (isFirst.exchange(false)) {
      stop();
      isStopped.open();
    }
  });
  const auto announcement = announce("station", "tcp://a:1");
  EXPECT_TRUE(isStopped.wait());
  EXPECT_EQ(framework.service<Discovery>(), nullptr);
}

TEST_F(ATable, HasNoAnnouncementOfEarlierOnceItIsStartedAgain) {
  auto announcement = announce("station", "tcp://a:1");
  stop();
  framework.bundle("spf_table_discovery").Start();
  EXPECT_THROW(framework.service<Discovery>()->addressesOf("station"), std::runtime_error);
  announcement.reset();
}

TEST(AnAnnouncement, MayOutliveItsFramework) {
  std::unique_ptr<Announcement> sut;
  std::optional<RunningFramework> framework(std::in_place);
  sut = framework->service<Discovery>()->announce({"station", "tcp://a:1", "", ""});
  framework.reset();
  EXPECT_NE(sut->id(), "");
  sut.reset();
}

TEST_F(ATable, MayBeUsedByManyThreads) {
  std::atomic<int> calls{0};
  listen([&] { ++calls; });
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < 200; ++round) {
        const auto announcement = announce("station", "tcp://a:" + std::to_string(i));
        EXPECT_FALSE(sut->addressesOf("station").empty());
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
  stop();
  EXPECT_GE(calls, 1);
  EXPECT_EQ(reasonOf("station"), unknownName);
}

}  // namespace
