#include <memory>
#include <thread>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/Constants.h>
#include <gmock/gmock.h>
#include "support/FakeDiscovery.hpp"
#include "support/ForeignPeer.hpp"
#include "support/RecordedWarnings.hpp"
#include "support/RecordingTransport.hpp"
#include "support/RunningFramework.hpp"
#include "support/StatusWatch.hpp"

namespace {

using agent::spf::frameworkinterfaces::Discovery;
using agent::spf::frameworkinterfaces::DiscoveryListener;
using agent::spf::frameworkinterfaces::EndpointState;
using agent::spf::frameworkinterfaces::EndpointStatus;
using agent::spf::frameworkinterfaces::Transport;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using frameworktest::Configuration;
using frameworktest::FakeDiscovery;
using frameworktest::ForeignPeer;
using frameworktest::freeAddress;
using frameworktest::RecordedWarnings;
using frameworktest::RecordingTransport;
using frameworktest::RunningFramework;
using frameworktest::StatusWatch;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::UnorderedElementsAre;
using Addresses = std::vector<FakeDiscovery::Address>;
using Phase = EndpointState::Phase;
using States = std::vector<EndpointState>;

/// An address as another process announces it.
FakeDiscovery::Address announced(const std::string& address, const std::string& id = "elsewhere-1") {
  return {address, "", id};
}

/// Publishers that connect to names, a discovery whose answers the test changes, and peers at addresses of the test.
class AName : public testing::Test {
 protected:
  template <class Service>
  cppmicroservices::ServiceRegistration<Service> offer(const std::shared_ptr<Service>& offered, int ranking) {
    return framework.context().RegisterService<Service>(offered,
                                                        {{cppmicroservices::Constants::SERVICE_RANKING, Any(ranking)}});
  }

  /// Changes what a name stands for, and reports that.
  void set(const Addresses& addresses, const std::string& name = "station") {
    discovery->set(name, addresses);
    report();
  }

  void fail(const std::string& reason) {
    discovery->fail("station", reason);
    report();
  }

  void report() { framework.service<DiscoveryListener>()->discoveryChanged(); }

  /// Waits until all earlier reports to the publishers have been handled.
  void settle() {
    const auto id = "settled" + std::to_string(++settled);
    framework.update(id, Configuration(1).publisher(id));
    ASSERT_NE(framework.events().waitFor("published " + id), "");
  }

  void connect(int count = 1) {
    framework.update("client", Configuration(count).publisher("display").connect("station"));
  }

  /// Waits until the records of the connecting publisher are up, at these addresses.
  void expectUpAt(const std::vector<std::string>& addresses) {
    EXPECT_TRUE(status.waitForAll("display", [&](const States& states) {
      std::vector<std::string> up;
      for (const EndpointState& state : states) {
        up.push_back(state.phase == Phase::up ? state.address : phaseOf(state) + " " + state.address);
      }
      return up == addresses;
    })) << testing::PrintToString(status.of("display"));
  }

  /// Sends a request over the connection, which a peer answers.
  /// \return the name of the connection at the peer
  std::string connectionOf(ForeignPeer& peer) {
    std::string answer;
    std::thread asker([&] { answer = transport->ask("display", "station", "question", spf::test::patience); });
    auto name = peer.answer("answer");
    asker.join();
    EXPECT_EQ(answer, "answer");
    return name;
  }

  static void expectOneConnection(ForeignPeer& peer) {
    EXPECT_TRUE(peer.waitForConnection(1));
    EXPECT_EQ(peer.connections(), 1);
  }

  /// Expects that the connection was reported once in a revision, and no error.
  void expectOneReport(const std::string& what = "connected display#1 station") {
    settle();
    EXPECT_THAT(framework.events().linesWith("connected"), ElementsAre(what));
    EXPECT_THAT(framework.events().linesWith("error"), IsEmpty());
  }

  const std::string one = freeAddress();
  const std::string two = freeAddress();
  const std::string three = freeAddress();
  RunningFramework framework;
  const std::shared_ptr<RecordingTransport> transport =
      std::make_shared<RecordingTransport>(framework.service<Transport>());
  cppmicroservices::ServiceRegistration<Transport> transportRegistration = offer<Transport>(transport, 1);
  const std::shared_ptr<FakeDiscovery> discovery = std::make_shared<FakeDiscovery>();
  cppmicroservices::ServiceRegistration<Discovery> registration = offer<Discovery>(discovery, 1);
  StatusWatch status{framework.service<EndpointStatus>()};
  int settled = 0;
};

TEST_F(AName, ThatMovesIsFollowed) {
  auto before = ForeignPeer::boundTo(one);
  auto after = ForeignPeer::boundTo(two);
  discovery->set("station", {announced(one)});
  connect();
  expectUpAt({one});
  transport->takeLines();
  set({announced(two, "elsewhere-2")});
  expectUpAt({two});
  EXPECT_THAT(transport->takeLines(), ElementsAre("close display station", "connect display station"));
  EXPECT_NE(connectionOf(after), "");
  expectOneReport();
}

TEST_F(AName, ThatMovesIsLostUntilItIsConnectedAgain) {
  auto before = ForeignPeer::boundTo(one);
  discovery->set("station", {announced(one)});
  connect();
  expectUpAt({one});
  set({announced(two, "elsewhere-2")});
  const EndpointState lost = status.waitFor("display", Phase::lost);
  EXPECT_EQ(lost.address, two);
  auto after = ForeignPeer::boundTo(two);
  expectUpAt({two});
  expectOneReport();
}

TEST_F(AName, WithoutAnAddressIsLostWithTheReasonIfItWasUp) {
  auto peer = ForeignPeer::boundTo(one);
  discovery->set("station", {announced(one)});
  connect();
  expectUpAt({one});
  transport->takeLines();
  fail("its host is gone");
  const EndpointState lost = status.waitFor("display", Phase::lost, "its host is gone");
  EXPECT_EQ(lost.endpoint, "station");
  EXPECT_EQ(lost.address, "");
  EXPECT_THAT(transport->takeLines(), ElementsAre("close display station"));
  fail("nobody has heard of it for long");
  const EndpointState later = status.waitFor("display", Phase::lost, "nobody has heard of it for long");
  EXPECT_EQ(later.since, lost.since);
  expectOneReport();
}

TEST_F(AName, WithoutAnAddressIsUnresolvedWithTheReasonIfItWasNeverUp) {
  discovery->set("station", {announced(one)});
  connect();
  EXPECT_EQ(status.waitFor("display", Phase::opening).address, one);
  fail("its host is gone");
  EXPECT_EQ(status.waitFor("display", Phase::unresolved, "its host is gone").address, "");
  settle();
  EXPECT_THAT(framework.events().linesWith("connected"), IsEmpty());
  EXPECT_THAT(framework.events().linesWith("error"), IsEmpty());
}

TEST_F(AName, ThatComesBackIsConnectedAgainWithoutASecondReport) {
  auto peer = ForeignPeer::boundTo(one);
  discovery->set("station", {announced(one)});
  connect();
  for (int round = 1; round <= 3; ++round) {
    expectUpAt({one});
    fail("gone");
    status.waitFor("display", Phase::lost, "gone");
    set({announced(one, "elsewhere-" + std::to_string(round))});
  }
  expectUpAt({one});
  expectOneReport();
}

TEST_F(AName, ThatComesBackInALaterRevisionIsReportedOnceThere) {
  auto peer = ForeignPeer::boundTo(one);
  discovery->set("station", {announced(one)});
  connect();
  expectUpAt({one});
  fail("gone");
  status.waitFor("display", Phase::lost, "gone");
  connect(2);
  ASSERT_NE(framework.events().waitFor("published display#2"), "");
  EXPECT_EQ(status.of("display").at(0).phase, Phase::lost);
  framework.events().clear();
  set({announced(one)});
  expectUpAt({one});
  expectOneReport("connected display#2 station");
}

TEST_F(AName, OfSeveralHostsIsConnectedToAllOfThem) {
  auto first = ForeignPeer::boundTo(one);
  auto second = ForeignPeer::boundTo(two);
  auto third = ForeignPeer::boundTo(three);
  discovery->set("station", {announced(one, "a-1"), announced(two, "b-1")});
  connect();
  expectUpAt({one, two});
  set({announced(one, "a-1"), announced(two, "b-1"), announced(three, "c-1")});
  expectUpAt({one, two, three});
  set({announced(one, "a-1"), announced(three, "c-1")});
  expectUpAt({one, three});
  expectOneConnection(first);
  expectOneConnection(third);
  expectOneReport();
}

TEST_F(AName, ThatLosesTheOnlyHostThatIsUpIsLost) {
  auto first = ForeignPeer::boundTo(one);
  discovery->set("station", {announced(one, "a-1"), announced(two, "b-1")});
  connect();
  ASSERT_TRUE(status.waitForAll("display", [](const States& states) {
    return states.size() == 2 && states[0].phase == Phase::up && states[1].phase == Phase::opening;
  }));
  set({announced(two, "b-1")});
  EXPECT_EQ(status.waitFor("display", Phase::lost).address, two);
  auto second = ForeignPeer::boundTo(two);
  expectUpAt({two});
  expectOneReport();
}

TEST_F(AName, HasNewHostsThatAreNotLostOnceItIsUpAgain) {
  auto first = ForeignPeer::boundTo(one);
  auto second = ForeignPeer::boundTo(two);
  discovery->set("station", {announced(one, "a-1")});
  connect();
  expectUpAt({one});
  set({announced(two, "b-1")});
  expectUpAt({two});
  set({announced(two, "b-1"), announced(three, "c-1")});
  EXPECT_TRUE(status.waitForAll("display", [](const States& states) {
    return states.size() == 2 && states[0].phase == Phase::up && states[1].phase == Phase::opening;
  }));
}

TEST_F(AName, KeepsTheConnectionsOfAddressesThatStay) {
  auto kept = ForeignPeer::boundTo(one);
  discovery->set("station", {announced(one, "a-0")});
  connect();
  expectUpAt({one});
  const auto name = connectionOf(kept);
  for (int round = 1; round <= 20; ++round) {
    // Nothing is awaited: each request is under way while the publishers handle a change.
    set({announced(two, "b-1"), announced(one, "a-" + std::to_string(round - 1))});
    EXPECT_EQ(connectionOf(kept), name);
    set({announced(one, "a-" + std::to_string(round))});  // announced anew
    EXPECT_EQ(connectionOf(kept), name);
    connect(round + 1);
    EXPECT_EQ(connectionOf(kept), name);
  }
  settle();
  expectOneConnection(kept);
  EXPECT_THAT(framework.events().linesWith("connected"), ElementsAre("connected display#1 station"));
  EXPECT_THAT(framework.events().linesWith("error"), IsEmpty());
}

TEST_F(AName, OpensAnAddressThatItHasTwiceOnce) {
  auto peer = ForeignPeer::boundTo(one);
  discovery->set("station", {announced(one, "a-1"), announced(one, "b-1"), {one, "", ""}});
  connect();
  expectUpAt({one});
  set({announced(one, "b-1")});
  set({{one, "", ""}});
  settle();
  EXPECT_THAT(transport->takeLines(), ElementsAre("connect display station"));
  expectOneConnection(peer);
}

// The transport has no key itself, so each of them has a reason of its own.
TEST_F(AName, TriesAnAddressForEachOfItsKeys) {
  discovery->set("station", {{one, "a", "a-1"}, {one, "b", "b-1"}});
  connect();
  EXPECT_TRUE(status.waitForAll("display", [&](const States& states) {
    return states.size() == 2 && states[0].reason.find("the key of 'a'") != std::string::npos &&
           states[1].reason.find("the key of 'b'") != std::string::npos;
  })) << testing::PrintToString(status.of("display"));
}

TEST_F(AName, ThatMovesClosesItsFormerSocketsWithoutWaitingForThem) {
  auto before = ForeignPeer::boundTo(one);
  auto after = ForeignPeer::boundTo(two);
  discovery->set("station", {announced(one)});
  connect();
  expectUpAt({one});
  transport->hold();
  set({announced(two)});
  expectUpAt({two});
  framework.remove("client");
  framework.events().clear();
  settle();
  EXPECT_THAT(framework.events().linesWith("unpublished"), IsEmpty());
  transport->release();
  EXPECT_NE(framework.events().waitFor("unpublished display#1"), "");
}

TEST_F(AName, ThatNeverChangesOpensAndClosesNothingWhenChangesAreReported) {
  discovery->set("station", {announced(one)});
  connect();
  status.waitFor("display", Phase::opening);
  transport->takeLines();
  for (int i = 0; i < 10; ++i) {
    report();
  }
  settle();
  EXPECT_THAT(transport->takeLines(), IsEmpty());
}

TEST_F(AName, IsLostWhileTheDiscoveryCannotKnowItsAddresses) {
  auto peer = ForeignPeer::boundTo(one);
  discovery->set("station", {announced(one)});
  connect();
  expectUpAt({one});
  discovery->answer("station", []() -> Addresses { throw 42; });
  report();
  status.waitFor("display", Phase::lost, "unknown failure");
  set({});
  status.waitFor("display", Phase::lost, "nobody knows the name");
  set({announced(one)});
  expectUpAt({one});
  expectOneReport();
}

TEST_F(AName, KeepsItsConnectionsWhileThereIsNoDiscovery) {
  auto before = ForeignPeer::boundTo(one);
  auto after = ForeignPeer::boundTo(two);
  discovery->set("station", {announced(one)});
  connect();
  expectUpAt({one});
  framework.bundle("spf_table_discovery").Stop();
  registration.Unregister();
  settle();
  report();
  const auto name = connectionOf(before);
  expectOneConnection(before);
  discovery->set("station", {announced(two)});
  const auto again = offer<Discovery>(discovery, 1);
  expectUpAt({two});
  expectOneReport();
}

TEST_F(AName, KeepsItsConnectionsWhenADiscoveryWithTheSameAddressesTakesOver) {
  auto peer = ForeignPeer::boundTo(one);
  discovery->set("station", {announced(one)});
  connect();
  expectUpAt({one});
  const auto name = connectionOf(peer);
  const auto next = std::make_shared<FakeDiscovery>();
  next->set("station", {announced(one, "next-1")});
  auto nextRegistration = offer<Discovery>(next, 2);
  settle();
  registration.Unregister();
  settle();
  EXPECT_EQ(connectionOf(peer), name);
  expectOneConnection(peer);
}

TEST_F(AName, FollowsTheDiscoveryThatTakesOver) {
  auto first = ForeignPeer::boundTo(one);
  auto second = ForeignPeer::boundTo(two);
  discovery->set("station", {announced(one)});
  connect();
  expectUpAt({one});
  const auto next = std::make_shared<FakeDiscovery>();
  next->set("station", {announced(two, "next-1")});
  auto nextRegistration = offer<Discovery>(next, 2);
  expectUpAt({two});
  nextRegistration.Unregister();
  expectUpAt({one});
  registration.Unregister();  // the table knows nothing
  status.waitFor("display", Phase::lost, "the discovery does not know the name");
  expectOneReport();
}

TEST_F(AName, HasAnUnknownAddressOfOneHostWithoutHarmToTheOthers) {
  RecordedWarnings warnings;
  auto peer = ForeignPeer::boundTo(one);
  discovery->set("station", {announced("tcp://*:5", "bad-1"), announced(one, "a-1")});
  connect();
  const auto isFirstOfNoUse = [](const States& states) {
    return states.size() == 2 && states[0].phase == Phase::opening && states[1].phase == Phase::up &&
           !states[0].reason.empty();
  };
  ASSERT_TRUE(status.waitForAll("display", isFirstOfNoUse));
  EXPECT_THAT(status.of("display")[0].reason, AllOf(HasSubstr("tcp://*:5"), HasSubstr("a wildcard can be bound")));
  EXPECT_THAT(warnings.waitFor("'display'"), HasSubstr("tcp://*:5"));
  transport->takeLines();
  report();
  settle();
  EXPECT_THAT(transport->takeLines(), IsEmpty());  // not tried again in this revision
  set({announced("tcp://*:5", "bad-2"), announced(one, "a-1")});
  settle();
  EXPECT_THAT(transport->takeLines(), ElementsAre("connect display station"));  // announced anew
  ASSERT_TRUE(status.waitForAll("display", isFirstOfNoUse));
  connect(2);
  ASSERT_NE(framework.events().waitFor("stillConnected display#2 station"), "");
  settle();
  EXPECT_THAT(transport->takeLines(), ElementsAre("connect display station"));
  set({announced(one, "a-1")});
  expectUpAt({one});
  expectOneConnection(peer);
  framework.remove("client");
  EXPECT_NE(framework.events().waitFor("unpublished display#2"), "");
  EXPECT_THAT(framework.events().linesWith("error"), IsEmpty());
}

TEST_F(AName, WithNothingButAnUnknownAddressIsPublishedAndRemoved) {
  discovery->set("station", {announced("no sense")});
  connect();
  status.waitFor("display", [](const EndpointState& state) { return !state.reason.empty(); });
  ASSERT_NE(framework.events().waitFor("published display#1"), "");
  fail("gone");
  status.waitFor("display", Phase::unresolved, "gone");
  set({announced("no sense")});
  framework.remove("client");
  EXPECT_NE(framework.events().waitFor("unpublished display#1"), "");
  EXPECT_THAT(framework.events().linesWith("error"), IsEmpty());
}

TEST_F(AName, WithAFixedAddressThatIsMalformedIsAnError) {
  discovery->set("station", {{"no sense", "", ""}});
  connect();
  EXPECT_THAT(framework.events().waitFor("error display#1"), HasSubstr("'no sense'"));
}

TEST_F(AName, WaitsForATransportAtAllOfItsAddresses) {
  auto first = ForeignPeer::boundTo(one);
  auto second = ForeignPeer::boundTo(two);
  framework.bundle("spf_zeromq_transport").Stop();
  transportRegistration.Unregister();
  discovery->set("station", {announced(one, "a-1"), announced(two, "b-1")});
  connect();
  EXPECT_EQ(status.waitFor("display", Phase::opening, "no transport is registered").address, one);
  framework.bundle("spf_zeromq_transport").Start();
  expectUpAt({one, two});
}

TEST_F(AName, IsConnectedAgainWhenTheTransportIsRestarted) {
  auto first = ForeignPeer::boundTo(one);
  auto second = ForeignPeer::boundTo(two);
  discovery->set("station", {announced(one, "a-1"), announced(two, "b-1")});
  transportRegistration.Unregister();
  connect();
  expectUpAt({one, two});
  framework.bundle("spf_zeromq_transport").Stop();
  status.waitFor("display", Phase::lost, "no transport is registered");
  framework.bundle("spf_zeromq_transport").Start();
  expectUpAt({one, two});
  expectOneReport();
}

TEST_F(AName, ToBindToStandsForItsFixedAddressesOnly) {
  discovery->set("station", {announced(one), {two, "", ""}, {three, "", ""}, {two, "", ""}});
  framework.update("server", Configuration(1).publisher("server").bind("station"));
  ASSERT_NE(framework.events().waitFor("published server#1"), "");
  EXPECT_THAT(transport->takeLines(), ElementsAre("bind server station", "bind server station"));
  const auto states = status.of("server");
  ASSERT_THAT(states, SizeIs(2));
  EXPECT_EQ(states[0].address, two);
  EXPECT_EQ(states[1].address, three);
}

TEST_F(AName, ToBindToWithoutAFixedAddressIsUnresolved) {
  discovery->set("station", {announced(one)});
  framework.update("server", Configuration(1).publisher("server").bind("station"));
  status.waitFor("server", Phase::unresolved, "the name has no fixed address to bind to");
  set({announced(one), {two, "", ""}});
  EXPECT_NE(framework.events().waitFor("bound server#1 station"), "");
}

TEST_F(AName, ThatIsBoundStaysBoundWhateverItStandsFor) {
  discovery->set("station", {{one, "", ""}});
  framework.update("server", Configuration(1).publisher("server").bind("station"));
  ASSERT_NE(framework.events().waitFor("published server#1"), "");
  auto peer = ForeignPeer::connectedTo(one);
  transport->takeLines();
  set({{two, "", ""}});
  fail("gone");
  settle();
  EXPECT_THAT(transport->takeLines(), IsEmpty());
  EXPECT_THAT(peer.ask(), HasSubstr(R"("server")"));
  expectOneConnection(peer);
}

TEST_F(AName, OfThePublisherItselfIsNotConnectedToItsOwnAddresses) {
  auto other = ForeignPeer::boundTo(two);
  framework.update("server", Configuration(1).publisher("station").bind(one).connect("station"));
  ASSERT_TRUE(status.waitForAll("station", [](const States& states) {
    return states.size() == 2 && states[1].phase == Phase::unresolved && states[1].reason == "nobody knows the name";
  }));
  ASSERT_THAT(discovery->waitFor(1), ElementsAre("station " + one + " server"));
  report();
  const auto isAtItself = [](const States& states) {
    return states.size() == 2 && states[1].phase == Phase::unresolved &&
           states[1].reason == "the name stands for this publisher itself";
  };
  EXPECT_TRUE(status.waitForAll("station", isAtItself));
  // An announcement that its process has left behind when it was killed.
  set({announced(one, "earlier-1")});
  settle();
  EXPECT_TRUE(isAtItself(status.of("station")));
  set({announced(one, "earlier-1"), announced(two)});
  EXPECT_TRUE(status.waitForAll("station", [&](const States& states) {
    return states.size() == 2 && states[1].phase == Phase::up && states[1].address == two;
  }));
}

TEST_F(AName, IsConnectedToAnotherPublisherOfTheSameNameAndProcess) {
  framework.update("a", Configuration(1).publisher("station").bind(one).connect("station"));
  framework.update("b", Configuration(2).publisher("station").bind(two));
  discovery->waitFor(2);
  report();
  EXPECT_NE(framework.events().waitFor("connected station#1 station"), "");
  EXPECT_TRUE(status.waitForAll("station", [&](const States& states) {
    return states.size() == 3 && states[1].phase == Phase::up && states[1].address == two;
  }));
}

}  // namespace
