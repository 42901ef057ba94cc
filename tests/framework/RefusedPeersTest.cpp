#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/Constants.h>
#include <gmock/gmock.h>
#include "agent/spf/frameworkinterfaces/EndpointStatus.hpp"
#include "support/FakeTransport.hpp"
#include "support/RunningFramework.hpp"
#include "support/StatusWatch.hpp"

namespace {

using agent::spf::frameworkinterfaces::EndpointState;
using agent::spf::frameworkinterfaces::EndpointStatus;
using agent::spf::frameworkinterfaces::Transport;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using frameworktest::Configuration;
using frameworktest::FakeTransport;
using frameworktest::RunningFramework;
using frameworktest::StatusWatch;
using spf::test::Counter;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using Phase = EndpointState::Phase;

/// A bound endpoint whose transport refuses peers when the test says so.
class ABoundEndpointThatRefusesPeers : public testing::Test {
 protected:
  using Refusals = std::vector<std::pair<std::uint32_t, std::string>>;

  void update(int count, const std::string& endpoint = "tcp://a:1") {
    framework.update("weather", Configuration(count).publisher("station").bind(endpoint));
  }

  void publish(const std::string& endpoint = "tcp://a:1") {
    update(1, endpoint);
    transport->endpoint(1).opened("tcp://a:1");
  }

  EndpointState waitForRefused(std::uint32_t count) {
    return status.waitFor("station", [count](const EndpointState& state) { return state.refusedHandshakes == count; });
  }

  /// Returns what each record of the publisher says.
  Refusals refusals() const {
    Refusals refusals;
    for (const EndpointState& state : status.of("station")) {
      refusals.emplace_back(state.refusedHandshakes, state.lastRefusal);
    }
    return refusals;
  }

  /// Waits until all earlier reports to the publishers have been handled.
  void settle() {
    const auto id = "settled" + std::to_string(++settled);
    framework.update(id, Configuration(1).publisher(id));
    ASSERT_NE(framework.events().waitFor("published " + id), "");
  }

  RunningFramework framework{
      AnyMap(AnyMap::ORDERED_MAP, {{"both", std::vector<Any>{std::string("tcp://a:1"), std::string("tcp://b:2")}}})};
  const std::shared_ptr<FakeTransport> transport = std::make_shared<FakeTransport>();
  const cppmicroservices::ServiceRegistration<Transport> registration =
      framework.context().RegisterService<Transport>(transport, {{cppmicroservices::Constants::SERVICE_RANKING, 1}});
  const std::shared_ptr<EndpointStatus> records = framework.service<EndpointStatus>();
  StatusWatch status{records};
  int settled = 0;
};

TEST_F(ABoundEndpointThatRefusesPeers, HasRefusedNoneAtFirst) {
  publish();
  status.waitFor("station", Phase::up);
  EXPECT_THAT(refusals(), ElementsAre(Pair(0u, "")));
}

TEST_F(ABoundEndpointThatRefusesPeers, StaysUpAndShowsHowManyAndWhyTheLast) {
  publish();
  const EndpointState before = status.waitFor("station", Phase::up);
  transport->endpoint(1).refused(1, "no encryption");
  EXPECT_EQ(waitForRefused(1).lastRefusal, "no encryption");
  transport->endpoint(1).refused(5, "key unknown");
  const EndpointState state = waitForRefused(5);
  EXPECT_EQ(state.lastRefusal, "key unknown");
  EXPECT_EQ(state.phase, Phase::up);
  EXPECT_EQ(state.address, before.address);
  EXPECT_EQ(state.reason, "");
  EXPECT_EQ(state.since, before.since);
  settle();
  EXPECT_THAT(framework.events().lines(),
              ElementsAre("bound station#1 tcp://a:1", "published station#1", "published settled1#1"));
}

TEST_F(ABoundEndpointThatRefusesPeers, RemembersThemInEachPhase) {
  update(1);
  transport->endpoint(1).refused(1, "key unknown");
  EXPECT_EQ(waitForRefused(1).phase, Phase::opening);
  transport->endpoint(1).trying({"tcp://a:1", 2, "in use"});
  transport->endpoint(1).opened("tcp://a:1");
  EXPECT_EQ(status.waitFor("station", Phase::up).refusedHandshakes, 1u);
  transport->endpoint(1).lost("no reason");
  EXPECT_EQ(status.waitFor("station", Phase::lost).refusedHandshakes, 1u);
  transport->endpoint(1).opened("tcp://a:1");
  status.waitFor("station", Phase::up);
  EXPECT_THAT(refusals(), ElementsAre(Pair(1u, "key unknown")));
}

TEST_F(ABoundEndpointThatRefusesPeers, RemembersThemInTheRevisionsThatKeepIt) {
  publish();
  transport->endpoint(1).refused(3, "key unknown");
  waitForRefused(3);
  update(2);
  ASSERT_NE(framework.events().waitFor("published station#2"), "");
  EXPECT_THAT(refusals(), ElementsAre(Pair(3u, "key unknown")));
}

TEST_F(ABoundEndpointThatRefusesPeers, BeginsAnewWithANewSocket) {
  publish();
  transport->endpoint(1).refused(3, "key unknown");
  waitForRefused(3);
  transport->endpoint(1).closed();
  transport->endpoint(2).opened("tcp://a:1");
  status.waitFor("station", Phase::up);
  settle();
  EXPECT_THAT(refusals(), ElementsAre(Pair(0u, "")));
  transport->endpoint(2).refused(1, "handshake failed");
  EXPECT_EQ(waitForRefused(1).lastRefusal, "handshake failed");
}

TEST_F(ABoundEndpointThatRefusesPeers, ShowsThemForEachOfItsSockets) {
  publish("both");
  transport->endpoint(2).opened("tcp://b:2");
  transport->endpoint(1).refused(2, "key unknown");
  transport->endpoint(2).refused(3, "no encryption");
  settle();
  EXPECT_THAT(refusals(), ElementsAre(Pair(2u, "key unknown"), Pair(3u, "no encryption")));
}

TEST_F(ABoundEndpointThatRefusesPeers, ForgetsThemWithItsPublisher) {
  publish();
  ASSERT_NE(framework.events().waitFor("published station#1"), "");
  auto& socket = transport->endpoint(1);
  socket.refused(1, "key unknown");
  waitForRefused(1);
  framework.remove("weather");
  ASSERT_NE(framework.events().waitFor("unpublished station#1"), "");
  socket.refused(2, "key unknown");  // late
  settle();
  EXPECT_THAT(refusals(), IsEmpty());
}

TEST_F(ABoundEndpointThatRefusesPeers, CallsListenersOnceForEachReportAtMost) {
  publish();
  status.waitFor("station", Phase::up);
  ASSERT_NE(framework.events().waitFor("published station#1"), "");
  const auto calls = std::make_shared<Counter>();
  const auto listener = records->addListener([calls] { calls->add(); });
  for (std::uint32_t count = 1; count <= 5; ++count) {
    transport->endpoint(1).refused(count * 100, "key unknown");
    waitForRefused(count * 100);
  }
  EXPECT_TRUE(calls->waitFor(1));
  records->removeListener(listener);
  EXPECT_LE(calls->count(), 6);  // one more, if a call for an earlier change was still to come
}

}  // namespace
