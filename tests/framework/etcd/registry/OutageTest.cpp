#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string>

#include <gmock/gmock.h>
#include "ClockJump.hpp"
#include "RealEtcd.hpp"

namespace etcdtest {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

class AnOutage : public RealEtcd {
 protected:
  void SetUp() override {
    RealEtcd::SetUp();
    if (!IsSkipped()) {
      ASSERT_TRUE(cluster_.waitUntilServing()) << cluster_.member(0).log();
    }
  }

  EtcdCluster cluster_{whyNoEtcd().empty() ? std::size_t{1} : std::size_t{0}};
};

TEST_F(AnOutage, LeavesEverythingAsItIsUntilEtcdIsBack) {
  constexpr std::chrono::seconds longTtl(6);
  ObservedRegistry sut(settings(cluster_.urls(), longTtl));
  ObservedRegistry other(settings(cluster_.urls(), longTtl));
  sut->put("a/1", "x");
  ASSERT_TRUE(other.waitForKey("a/1"));
  cluster_.member(0).kill();
  ASSERT_TRUE(sut.waitForTrouble(cluster_.urls()[0] + ": Connection refused"));
  ASSERT_TRUE(other.waitForTrouble());
  sut->put("b/1", "y");
  EXPECT_TRUE(other.hasKey("a/1"));
  cluster_.member(0).start();
  ASSERT_TRUE(cluster_.waitUntilServing());
  const Healing healing;
  EXPECT_TRUE(other.waitForKey("b/1", "y"));
  EXPECT_TRUE(sut.waitUntilCurrent());
  EXPECT_LT(healing.elapsed(), longTtl);
  healing.report("a single member killed, from its restart until all is put and seen");
  EXPECT_TRUE(other.hasKey("a/1"));
  EXPECT_THAT(sut.warnings(), SizeIs(1));
}

TEST_F(AnOutage, ThatOutlastsALeaseBringsAllKeysBack) {
  FaultProxy proxy(cluster_.member(0).clientPort());
  ObservedRegistry other(settings(cluster_.urls()));
  ObservedRegistry sut(settings({proxy.url()}));
  sut->put("a/1", "x");
  sut->put("b/1", "y");
  ASSERT_TRUE(other.waitForCount(2));
  ASSERT_TRUE(sut.waitForCount(2));
  const Healing outage;
  proxy.set(FaultProxy::Behaviour::cut);
  ASSERT_TRUE(other.waitForCount(0));
  // It had been kept alive a third of its time ago at most.
  EXPECT_GE(outage.elapsed(), ttl * 2 / 3);
  outage.report("keys of a registry that was cut off, until they are gone");
  EXPECT_FALSE(
      sut.waitUntil([](const auto& registry) { return registry.entries()->size() != 2; }, 3 * ttl - outage.elapsed()));
  const Healing healing;
  proxy.set(FaultProxy::Behaviour::forward);
  EXPECT_TRUE(other.waitForCount(2));
  EXPECT_TRUE(sut.waitUntilCurrent());
  healing.report("a lease that lapsed in an outage of 3 times to live, until all keys are back");
  EXPECT_EQ(sut->entries()->size(), 2u);
  EXPECT_THAT(sut.warnings(), SizeIs(1));
}

TEST_F(AnOutage, KeepsNamesThatWentMeanwhileForOneTimeToLiveMore) {
  FaultProxy proxy(cluster_.member(0).clientPort());
  ObservedRegistry other(settings(cluster_.urls()));
  ObservedRegistry sut(settings({proxy.url()}));
  other->put("a/1", "x");
  other->put("b/1", "x");
  ASSERT_TRUE(sut.waitForCount(2));
  proxy.set(FaultProxy::Behaviour::cut);
  ASSERT_TRUE(sut.waitForTrouble());
  other->remove("a/1");
  other->put("c/1", "x");  // behind the removal
  ASSERT_TRUE(other.waitForKey("c/1"));
  ASSERT_EQ(cluster_.member(0).control({"get", "/spf/a/1"}), "");
  const Healing healing;
  proxy.set(FaultProxy::Behaviour::forward);
  ASSERT_TRUE(sut.waitUntilCurrent());
  EXPECT_EQ(sut->entries()->size(), 3u);
  EXPECT_TRUE(sut.waitForNoKey("a/1"));
  EXPECT_GE(healing.elapsed(), ttl);
  EXPECT_TRUE(sut.hasKey("b/1"));
}

TEST_F(AnOutage, WithACompactionEndsWithTheCurrentKeys) {
  FaultProxy proxy(cluster_.member(0).clientPort());
  ObservedRegistry sut(settings({proxy.url()}));
  auto& member = cluster_.member(0);
  member.control({"put", "/spf/old/1", "x"});
  member.control({"put", "/spf/same/1", "x"});
  ASSERT_TRUE(sut.waitForCount(2));
  proxy.set(FaultProxy::Behaviour::cut);
  ASSERT_TRUE(sut.waitForTrouble());
  member.control({"del", "/spf/old/1"});
  member.control({"put", "/spf/new/1", "x"});
  for (int revision = 0; revision < 10; ++revision) {
    member.control({"put", "/spf/same/1", std::to_string(revision)});
  }
  member.control({"compaction", "15"});
  const Healing healing;
  proxy.set(FaultProxy::Behaviour::forward);
  EXPECT_TRUE(sut.waitForKey("same/1", "9"));
  EXPECT_TRUE(sut.waitForKey("new/1"));
  healing.report("compaction during an outage, until the copy is current");
  EXPECT_TRUE(sut.waitForNoKey("old/1"));
  member.control({"put", "/spf/later/1", "x"});
  EXPECT_TRUE(sut.waitForKey("later/1"));
}

TEST_F(AnOutage, IsNoneIfTheRevisionBehindTheListingIsCompacted) {
  FaultProxy proxy(cluster_.member(0).clientPort());
  proxy.set(FaultProxy::Behaviour::stall);
  auto& member = cluster_.member(0);
  std::atomic<bool> isStalled{false};
  ObservedRegistry sut(settings({proxy.url()}, std::chrono::seconds(90)), [&] {
    // The first change is the listing. Nothing of the watch has been sent yet.
    if (!isStalled) {
      proxy.set(FaultProxy::Behaviour::stall);
      isStalled = true;
    }
  });
  proxy.set(FaultProxy::Behaviour::forward);
  ASSERT_TRUE(sut.waitUntil([&](const auto& /*registry*/) { return isStalled.load(); }));
  ASSERT_TRUE(sut->isListed());
  for (int revision = 0; revision < 5; ++revision) {
    member.control({"put", "/spf/a/1", std::to_string(revision)});
  }
  member.control({"compaction", "5"});
  proxy.set(FaultProxy::Behaviour::forward);
  EXPECT_TRUE(sut.waitForKey("a/1", "4"));
  EXPECT_TRUE(sut.waitUntilCurrent());
  EXPECT_EQ(sut->traffic().requests, 4u) << "expected two listings, each with a watch";
  EXPECT_THAT(sut.warnings(), IsEmpty());
}

TEST_F(AnOutage, OfAnHourOfTheWallClockOnlyIsNone) {
  constexpr std::chrono::seconds longTtl(4);
  ObservedRegistry sut(settings(cluster_.urls(), longTtl));
  ObservedRegistry other(settings(cluster_.urls(), longTtl));
  sut->put("a/1", "x");
  ASSERT_TRUE(other.waitForKey("a/1"));
  for (const auto hours : {1, -1}) {
    const auto before = std::chrono::system_clock::now();
    const ClockJump jump{std::chrono::hours(hours)};
    const auto jumped = std::chrono::duration_cast<std::chrono::minutes>(std::chrono::system_clock::now() - before);
    ASSERT_LE(std::abs(jumped.count() - 60 * hours), 1) << "the wall clock has not jumped";
    sut->put("b/1", std::to_string(hours));
    EXPECT_TRUE(other.waitForKey("b/1", std::to_string(hours)));
    EXPECT_FALSE(other.waitUntil(
        [](const auto& registry) { return registry.entries()->size() != 2 || !registry.trouble().empty(); },
        longTtl * 3 / 2));
  }
  EXPECT_THAT(sut.warnings(), IsEmpty());
  EXPECT_THAT(other.warnings(), IsEmpty());
}

TEST_F(AnOutage, OfConnectionsThatAreResetHealsAtOnce) {
  FaultProxy proxy(cluster_.member(0).clientPort());
  ObservedRegistry sut(settings({proxy.url()}));
  ObservedRegistry other(settings(cluster_.urls()));
  sut->put("a/1", "x");
  ASSERT_TRUE(sut.waitForKey("a/1"));
  for (int round = 0; round < 3; ++round) {
    const auto before = proxy.connections();
    const Healing healing;
    proxy.cutConnections();
    ASSERT_TRUE(proxy.waitForConnections(before + 1));
    other->put("b/1", std::to_string(round));
    EXPECT_TRUE(sut.waitForKey("b/1", std::to_string(round)));
    healing.report("connections reset, until the copy is current");
    EXPECT_TRUE(sut.hasKey("a/1"));
  }
}

TEST_F(AnOutage, OfASilentEtcdIsNoticedAndHeals) {
  FaultProxy proxy(cluster_.member(0).clientPort());
  ObservedRegistry sut(settings({proxy.url()}));
  ObservedRegistry other(settings(cluster_.urls()));
  sut->put("a/1", "x");
  ASSERT_TRUE(other.waitForKey("a/1"));
  const Healing silence;
  proxy.set(FaultProxy::Behaviour::stall);
  ASSERT_TRUE(sut.waitForTrouble(proxy.url() + ": no answer within 666 ms"));
  silence.report("a connection that falls silent, until it is noticed");
  other->put("b/1", "x");
  const Healing healing;
  proxy.set(FaultProxy::Behaviour::forward);
  EXPECT_TRUE(sut.waitForKey("b/1"));
  EXPECT_TRUE(sut.waitUntilCurrent());
  healing.report("a silent connection, from its end until the copy is current");
  EXPECT_TRUE(sut.hasKey("a/1"));
}

TEST_F(AnOutage, IsNoneIfEtcdIsOnlySlow) {
  FaultProxy proxy(cluster_.member(0).clientPort());
  proxy.set(FaultProxy::Behaviour::delay);
  ObservedRegistry sut(settings({proxy.url()}, std::chrono::seconds(6)));
  ObservedRegistry other(settings(cluster_.urls()));
  sut->put("a/1", "x");
  EXPECT_TRUE(other.waitForKey("a/1"));
  other->put("b/1", "x");
  EXPECT_TRUE(sut.waitForKey("b/1"));
  EXPECT_THAT(sut.warnings(), IsEmpty());
}

TEST_F(AnOutage, IsNoneIfAnswersComeInPieces) {
  FaultProxy proxy(cluster_.member(0).clientPort());
  proxy.set(FaultProxy::Behaviour::pieces);
  ObservedRegistry sut(settings({proxy.url()}, std::chrono::seconds(6)));
  ObservedRegistry other(settings(cluster_.urls()));
  for (int number = 0; number < 20; ++number) {
    sut->put("a/" + std::to_string(number), "x");
    other->put("b/" + std::to_string(number), "x");
  }
  EXPECT_TRUE(sut.waitForCount(40));
  EXPECT_TRUE(other.waitForCount(40));
  EXPECT_THAT(sut.warnings(), IsEmpty());
}

TEST_F(AnOutage, OfAnEtcdThatAnswersNonsenseHeals) {
  FaultProxy proxy(cluster_.member(0).clientPort());
  ObservedRegistry sut(settings({proxy.url()}));
  ASSERT_TRUE(sut.waitUntilCurrent());
  proxy.answerWith("HTTP/1.1 500 Oh\r\nContent-Length: 4\r\n\r\noops");
  EXPECT_TRUE(sut.waitForTrouble(proxy.url() + ": HTTP status 500: oops"));
  proxy.answerWith("HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\noops");
  EXPECT_TRUE(sut.waitForTrouble(proxy.url() + ": an answer that is no JSON object"));
  proxy.answerWith("HTTP/1.1 200 OK\r\nContent-Length: 40\r\n\r\n{\"header\":");
  EXPECT_TRUE(sut.waitForTroubleOtherThan(proxy.url() + ": an answer that is no JSON object"));
  const auto trouble = sut->trouble();  // in libcurl's words, as the next one
  EXPECT_THAT(trouble, StartsWith(proxy.url() + ": "));
  proxy.answerWith("SSH-2.0-nonsense\r\n");
  EXPECT_TRUE(sut.waitForTroubleOtherThan(trouble));
  EXPECT_THAT(sut->trouble(), StartsWith(proxy.url() + ": "));
  const Healing healing;
  proxy.set(FaultProxy::Behaviour::forward);
  EXPECT_TRUE(sut.waitUntilCurrent());
  healing.report("an etcd that answers nonsense, from its end until the copy is current");
  EXPECT_THAT(sut.warnings(), SizeIs(1));
}

TEST_F(AnOutage, CannotKeepTheEndWaiting) {
  FaultProxy proxy(cluster_.member(0).clientPort());
  ObservedRegistry sut(settings({proxy.url()}, std::chrono::hours(1)));
  sut->put("a/1", "x");
  ASSERT_TRUE(sut.waitForKey("a/1"));
  proxy.set(FaultProxy::Behaviour::stall);
  const Healing end;
  sut.end();
  end.report("the end of a registry whose member is silent");
  ObservedRegistry other(settings(cluster_.urls()));
  EXPECT_TRUE(other.waitForKey("a/1"));
}

TEST_F(AnOutage, FromTheBeginningEndsWithTheFirstListing) {
  cluster_.member(0).kill();
  ObservedRegistry sut(settings(cluster_.urls()));
  sut->put("a/1", "x");
  EXPECT_TRUE(sut.waitForTrouble(cluster_.urls()[0] + ": Connection refused"));
  EXPECT_FALSE(sut->isListed());
  cluster_.member(0).start();
  EXPECT_TRUE(sut.waitForKey("a/1", "x"));
}

}  // namespace etcdtest
