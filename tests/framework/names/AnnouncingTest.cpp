#include <sys/socket.h>

#include <cerrno>
#include <memory>
#include <optional>
#include <regex>
#include <string>
#include <system_error>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/Constants.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <unistd.h>
#include "support/FakeDiscovery.hpp"
#include "support/RecordedWarnings.hpp"
#include "support/RecordingTransport.hpp"
#include "support/RunningFramework.hpp"
#include "support/StatusWatch.hpp"
#include "support/TemporaryFolder.hpp"

namespace {

using agent::spf::frameworkinterfaces::DiscoveredAddress;
using agent::spf::frameworkinterfaces::Discovery;
using agent::spf::frameworkinterfaces::EndpointState;
using agent::spf::frameworkinterfaces::EndpointStatus;
using agent::spf::frameworkinterfaces::Transport;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using frameworktest::Configuration;
using frameworktest::FakeDiscovery;
using frameworktest::freeAddress;
using frameworktest::freePort;
using frameworktest::legacy;
using frameworktest::RecordedWarnings;
using frameworktest::RecordingTransport;
using frameworktest::rpc;
using frameworktest::RunningFramework;
using frameworktest::StatusWatch;
using frameworktest::TemporaryFolder;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;
using testing::UnorderedElementsAre;
using Lines = std::vector<std::string>;
using Phase = EndpointState::Phase;

template <class Service>
cppmicroservices::ServiceRegistration<Service> offer(RunningFramework& framework,
                                                     const std::shared_ptr<Service>& offered, int ranking) {
  return framework.context().RegisterService<Service>(offered,
                                                      {{cppmicroservices::Constants::SERVICE_RANKING, Any(ranking)}});
}

/// Publishers whose bound endpoints are announced to a discovery of the test.
class AnAnnouncedEndpoint : public testing::Test {
 protected:
  void publish(const std::string& id, const Configuration& configuration, const std::string& origin) {
    framework.update(id, configuration);
    ASSERT_NE(framework.events().waitFor("published " + origin), "");
  }

  /// Waits until all earlier reports to the publishers have been handled.
  void settle() {
    const auto id = "settled" + std::to_string(++settled);
    publish(id, Configuration(1).publisher(id), id + "#1");
  }

  // What tests note during withdrawals, the last of which come with the end of the framework.
  std::vector<Lines> closings;
  Lines announcedMeanwhile;
  int withdrawals = 0;

  const std::string one = freeAddress();
  const std::string two = freeAddress();
  RunningFramework framework;
  const std::shared_ptr<RecordingTransport> transport =
      std::make_shared<RecordingTransport>(framework.service<Transport>());
  cppmicroservices::ServiceRegistration<Transport> transportRegistration = offer<Transport>(framework, transport, 1);
  const std::shared_ptr<FakeDiscovery> discovery = std::make_shared<FakeDiscovery>();
  cppmicroservices::ServiceRegistration<Discovery> registration = offer<Discovery>(framework, discovery, 1);
  int settled = 0;
};

class AnAnnouncedEndpointOfEitherKind : public AnAnnouncedEndpoint, public testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(Of, AnAnnouncedEndpointOfEitherKind, testing::Values(rpc, legacy),
                         [](const auto& kind) { return std::string(kind.param); });

TEST_P(AnAnnouncedEndpointOfEitherKind, IsAnnouncedUnderThePublishersIDUntilItIsWithdrawn) {
  framework.update("weather",
                   Configuration(1).publisher("station.1_a-b", GetParam()).bind(one).bind("tcp://127.0.0.1:*"));
  const auto lines = discovery->waitFor(2);
  EXPECT_THAT(lines, UnorderedElementsAre("station.1_a-b " + one + " weather",
                                          MatchesRegex("station\\.1_a-b tcp://127\\.0\\.0\\.1:[1-9][0-9]* weather")));
  framework.remove("weather");
  EXPECT_THAT(discovery->waitFor(0), IsEmpty());
}

TEST_F(AnAnnouncedEndpoint, IsWithdrawnBeforeItsSocketIsClosed) {
  publish("weather", Configuration(1).publisher("station").bind(one).bind(two), "station#1");
  ASSERT_THAT(discovery->waitFor(2), SizeIs(2));
  transport->takeLines();
  discovery->onWithdrawal = [this] { closings.push_back(transport->takeLines()); };
  transport->hold();
  framework.update("weather", Configuration(2).publisher("station").bind(one));
  EXPECT_THAT(discovery->waitFor(1), ElementsAre("station " + one + " weather"));
  settle();
  EXPECT_THAT(closings, ElementsAre(IsEmpty()));
  EXPECT_THAT(transport->takeLines(), ElementsAre("close station " + two));
  framework.remove("weather");
  EXPECT_THAT(discovery->waitFor(0), IsEmpty());
  settle();
  EXPECT_THAT(closings, ElementsAre(IsEmpty(), IsEmpty()));
  EXPECT_THAT(transport->takeLines(), ElementsAre("close station " + one));
  EXPECT_THAT(framework.events().linesWith("unpublished"), IsEmpty());
  transport->release();
  EXPECT_NE(framework.events().waitFor("unpublished station#2"), "");
}

TEST_F(AnAnnouncedEndpoint, StaysAnnouncedInTheRevisionsThatKeepIt) {
  publish("weather", Configuration(1).publisher("station").bind(one), "station#1");
  ASSERT_THAT(discovery->waitFor(1), SizeIs(1));
  discovery->onWithdrawal = [this] { ++withdrawals; };
  for (int count = 2; count <= 5; ++count) {
    publish("weather", Configuration(count).publisher("station").bind(two).bind(one),
            "station#" + std::to_string(count));
  }
  publish("weather", Configuration(6).publisher("station").bind(one), "station#6");
  EXPECT_THAT(discovery->waitFor(1), ElementsAre("station " + one + " weather"));
  EXPECT_EQ(discovery->calls(), 2);
  EXPECT_EQ(withdrawals, 1);
}

TEST_F(AnAnnouncedEndpoint, StaysAnnouncedIfItsRevisionFails) {
  publish("weather", Configuration(1).publisher("station").bind(one), "station#1");
  framework.update("weather", Configuration(2).publisher("station").bind(one).bind("no sense"));
  ASSERT_NE(framework.events().waitFor("error station#2"), "");
  settle();
  EXPECT_THAT(discovery->announced(), ElementsAre("station " + one + " weather"));
}

TEST_F(AnAnnouncedEndpoint, IsBoundByTcp) {
  const TemporaryFolder folder;
  publish("weather",
          Configuration(1)
              .publisher("station")
              .bind("ipc://" + folder.path() + "/x")
              .bind("inproc://station")
              .connect(two)
              .bind(one),
          "station#1");
  settle();
  EXPECT_THAT(discovery->announced(), ElementsAre("station " + one + " weather"));
  EXPECT_EQ(discovery->calls(), 1);
}

TEST_F(AnAnnouncedEndpoint, IsNotAnnouncedUnderAnIDThatIsNoName) {
  publish("weather", Configuration(1).publisher("my station").bind(one).publisher("a/b").bind(two), "my station#1");
  ASSERT_NE(framework.events().waitFor("published a/b#1"), "");
  settle();
  EXPECT_EQ(discovery->calls(), 0);
}

TEST_F(AnAnnouncedEndpoint, IsNotAnnouncedBeforeItIsBound) {
  const frameworktest::TakenPort taken;
  framework.update("weather", Configuration(1).publisher("station").bind(taken.address()));
  ASSERT_NE(framework.events().waitFor("error station#1"), "");
  settle();
  EXPECT_EQ(discovery->calls(), 0);
}

TEST_F(AnAnnouncedEndpoint, HasTheIDOfItsConfiguration) {
  publish("weather/~ 100%", Configuration(1).publisher("station").bind(one), "station#1");
  EXPECT_THAT(discovery->waitFor(1), ElementsAre("station " + one + " weather/~ 100%"));
}

TEST_F(AnAnnouncedEndpoint, IsAnnouncedAnewByTheDiscoveryThatTakesOver) {
  publish("weather", Configuration(1).publisher("station").bind(one), "station#1");
  ASSERT_THAT(discovery->waitFor(1), SizeIs(1));
  const auto next = std::make_shared<FakeDiscovery>();
  discovery->onWithdrawal = [this, next] { announcedMeanwhile = next->announced(); };
  auto nextRegistration = offer<Discovery>(framework, next, 2);
  EXPECT_THAT(next->waitFor(1), ElementsAre("station " + one + " weather"));
  EXPECT_THAT(discovery->waitFor(0), IsEmpty());
  EXPECT_THAT(announcedMeanwhile, SizeIs(1));  // by one of the two at any time
  nextRegistration.Unregister();
  EXPECT_THAT(discovery->waitFor(1), ElementsAre("station " + one + " weather"));
  EXPECT_THAT(next->waitFor(0), IsEmpty());
  registration.Unregister();
  EXPECT_THAT(discovery->waitFor(0), IsEmpty());
  settle();
  EXPECT_THAT(framework.service<Discovery>()->addressesOf("station"), SizeIs(1));  // by the table
}

TEST_F(AnAnnouncedEndpoint, IsNotAnnouncedAnewWhenADiscoveryThatIsNotUsedArrivesOrChanges) {
  publish("weather", Configuration(1).publisher("station").bind(one), "station#1");
  const auto lower = std::make_shared<FakeDiscovery>();
  auto lowerRegistration = offer<Discovery>(framework, lower, -1);
  registration.SetProperties({{cppmicroservices::Constants::SERVICE_RANKING, Any(1)}, {"revision", Any(2)}});
  lowerRegistration.Unregister();
  settle();
  EXPECT_EQ(lower->calls(), 0);
  EXPECT_EQ(discovery->calls(), 1);
}

TEST_F(AnAnnouncedEndpoint, WaitsForADiscovery) {
  framework.bundle("spf_table_discovery").Stop();
  registration.Unregister();
  publish("weather", Configuration(1).publisher("station").bind(one), "station#1");
  EXPECT_EQ(discovery->calls(), 0);
  const auto again = offer<Discovery>(framework, discovery, 1);
  EXPECT_THAT(discovery->waitFor(1), ElementsAre("station " + one + " weather"));
}

TEST_F(AnAnnouncedEndpoint, IsWithdrawnWhenItsTransportClosesItAndAnnouncedAgainWhenItIsBound) {
  publish("weather", Configuration(1).publisher("station").bind(one), "station#1");
  ASSERT_THAT(discovery->waitFor(1), SizeIs(1));
  transportRegistration.Unregister();
  framework.bundle("spf_zeromq_transport").Stop();
  EXPECT_THAT(discovery->waitFor(0), IsEmpty());
  framework.bundle("spf_zeromq_transport").Start();
  EXPECT_THAT(discovery->waitFor(1), ElementsAre("station " + one + " weather"));
}

TEST_F(AnAnnouncedEndpoint, IsWithdrawnWhenThePublishersStop) {
  publish("weather", Configuration(1).publisher("station").bind(one), "station#1");
  ASSERT_THAT(discovery->waitFor(1), SizeIs(1));
  framework.bundle("spf_publishers").Stop();
  EXPECT_THAT(discovery->announced(), IsEmpty());
}

TEST_F(AnAnnouncedEndpoint, IsPublishedAlsoIfTheDiscoveryRefusesToAnnounceIt) {
  RecordedWarnings warnings;
  discovery->refuse("no room is left");
  publish("weather", Configuration(1).publisher("station").bind(one), "station#1");
  ASSERT_TRUE(discovery->waitForCalls(1));
  EXPECT_THAT(warnings.waitFor("no room is left"), AllOf(HasSubstr("'station'"), HasSubstr("'" + one + "'")));
  publish("weather", Configuration(2).publisher("station").bind(one), "station#2");
  ASSERT_TRUE(discovery->waitForCalls(2));
  settle();
  EXPECT_THAT(warnings.with("no room is left"), SizeIs(1));
  discovery->refuse("");
  registration.SetProperties({{cppmicroservices::Constants::SERVICE_RANKING, Any(1)}, {"revision", Any(2)}});
  EXPECT_THAT(discovery->waitFor(1), ElementsAre("station " + one + " weather"));
  EXPECT_THAT(framework.events().linesWith("error"), IsEmpty());
}

TEST_F(AnAnnouncedEndpoint, StaysAnnouncedByTheFormerDiscoveryIfTheNextRefuses) {
  publish("weather", Configuration(1).publisher("station").bind(one), "station#1");
  ASSERT_THAT(discovery->waitFor(1), SizeIs(1));
  const auto next = std::make_shared<FakeDiscovery>();
  next->refuse("it has ended");
  auto nextRegistration = offer<Discovery>(framework, next, 2);
  ASSERT_TRUE(next->waitForCalls(1));
  nextRegistration.Unregister();
  settle();
  EXPECT_THAT(discovery->announced(), ElementsAre("station " + one + " weather"));
  EXPECT_EQ(discovery->calls(), 1);
}

/// Publishers of one process that know each other by their names, through the table.
class APublishersName : public testing::Test {
 protected:
  RunningFramework framework;
  StatusWatch status{framework.service<EndpointStatus>()};
};

TEST_F(APublishersName, LeadsToItsEndpointWhereverItIs) {
  framework.update("client", Configuration(1).publisher("display").connect("station"));
  status.waitFor("display", Phase::unresolved, "the discovery does not know the name");
  for (int count = 1; count <= 3; ++count) {
    const auto address = freeAddress();
    framework.update("server", Configuration(count).publisher("station").bind(address));
    status.waitFor("display",
                   [&](const EndpointState& state) { return state.phase == Phase::up && state.address == address; });
  }
  framework.remove("server");
  status.waitFor("display", Phase::lost, "the discovery does not know the name");
  framework.remove("client");
  ASSERT_NE(framework.events().waitFor("unpublished display#1"), "");
  EXPECT_THAT(framework.events().linesWith("connected"), ElementsAre("connected display#1 station"));
  EXPECT_THAT(framework.events().linesWith("error"), IsEmpty());
}

TEST_F(APublishersName, LeadsToAWildcardThatOthersCanReach) {
  for (const auto* wildcard : {"tcp://*:*", "tcp://0.0.0.0:0"}) {
    framework.update("server", Configuration(1).publisher("station").bind(wildcard));
    framework.update("client", Configuration(1).publisher("display").connect("station"));
    ASSERT_NE(framework.events().waitFor("connected display#1 station"), "");
    EXPECT_THAT(status.of("display").at(0).address, MatchesRegex("tcp://[1-9][0-9.]+:[1-9][0-9]*"));
    framework.remove("server");
    framework.remove("client");
    ASSERT_NE(framework.events().waitFor("unpublished display#1"), "");
    ASSERT_NE(framework.events().waitFor("unpublished station#1"), "");
    framework.events().clear();
  }
}

/// Returns why the system cannot bind to the loopback address of IPv6; empty if it can.
std::string whyNoIPv6() {
  const int probe = socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in6 where{};
  where.sin6_family = AF_INET6;
  where.sin6_addr = in6addr_loopback;
  const bool isBound = probe >= 0 && bind(probe, reinterpret_cast<const sockaddr*>(&where), sizeof(where)) == 0;
  const int error = errno;
  if (probe >= 0) {
    close(probe);
  }
  return isBound ? "" : std::system_category().message(error);
}

TEST_F(APublishersName, LeadsToAnEndpointOfIPv6) {
  if (const auto reason = whyNoIPv6(); !reason.empty()) {
    GTEST_SKIP() << "no IPv6 here: " << reason;
  }
  framework.update("server", Configuration(1).publisher("station").bind("tcp://[::1]:*"));
  ASSERT_NE(framework.events().waitFor("published station#1"), "");
  framework.update("client", Configuration(1).publisher("display").connect("station"));
  ASSERT_NE(framework.events().waitFor("connected display#1 station"), "");
  EXPECT_THAT(status.of("display").at(0).address, MatchesRegex("tcp://\\[::1\\]:[1-9][0-9]*"));
}

TEST_F(APublishersName, KeepsItsConnectionsWhenTheTableIsRestarted) {
  // The connecting publisher is looked after first, before the other one is announced again.
  framework.update("a", Configuration(1).publisher("display").connect("station"));
  framework.update("b", Configuration(1).publisher("station").bind(freeAddress()));
  const auto before = status.waitFor("display", Phase::up);
  framework.bundle("spf_table_discovery").Stop();
  framework.bundle("spf_table_discovery").Start();
  for (int i = 0; i < 2; ++i) {  // once for the restart, once for what the table reports
    framework.update("marker", Configuration(i + 1).publisher("marker"));
    ASSERT_NE(framework.events().waitFor("published marker#" + std::to_string(i + 1)), "");
  }
  const auto after = status.of("display");
  ASSERT_THAT(after, SizeIs(1));
  EXPECT_EQ(after[0].phase, Phase::up);
  EXPECT_EQ(after[0].since, before.since);
  EXPECT_THAT(framework.service<Discovery>()->addressesOf("station"), SizeIs(1));
}

TEST_F(APublishersName, IsGoneWithItsPublisherOnly) {
  framework.update("a", Configuration(1).publisher("station").bind(freeAddress()));
  framework.update("b", Configuration(2).publisher("station").bind(freeAddress()));
  framework.update("client", Configuration(1).publisher("display").connect("station"));
  const auto areUp = [](std::size_t count) {
    return [count](const std::vector<EndpointState>& states) {
      return states.size() == count && std::all_of(states.begin(), states.end(),
                                                   [](const EndpointState& state) { return state.phase == Phase::up; });
    };
  };
  EXPECT_TRUE(status.waitForAll("display", areUp(2)));
  framework.remove("a");
  EXPECT_TRUE(status.waitForAll("display", areUp(1)));
  framework.remove("b");
  status.waitFor("display", Phase::lost, "the discovery does not know the name");
  EXPECT_NE(framework.events().waitFor("connected display#1 station"), "");
  framework.remove("client");
  ASSERT_NE(framework.events().waitFor("unpublished display#1"), "");
  EXPECT_THAT(framework.events().linesWith("connected"), SizeIs(1));
}

/// The framework property with the host to announce.
class TheAdvertisedHost : public testing::Test {
 protected:
  /// Returns the address that is announced for a bound one if the property has a value.
  std::string announcedFor(const std::string& address, const Any& advertised) {
    RunningFramework framework({}, AnyMap(AnyMap::ORDERED_MAP, {{"spf.advertise", advertised}}));
    framework.update("weather", Configuration(1).publisher("station").bind(address));
    EXPECT_NE(framework.events().waitFor("published station#1"), "");
    return framework.service<Discovery>()->addressesOf("station").at(0).address;
  }

  const std::string port = freePort();
  const std::string bound = "tcp://127.0.0.1:" + port;
  RecordedWarnings warnings;
};

TEST_F(TheAdvertisedHost, IsAnnouncedInPlaceOfTheBoundOne) {
  EXPECT_EQ(announcedFor(bound, std::string("station.example")), "tcp://station.example:" + port);
  EXPECT_THAT(announcedFor("tcp://*:*", std::string("192.0.2.7")), MatchesRegex("tcp://192\\.0\\.2\\.7:[1-9][0-9]*"));
  EXPECT_THAT(warnings.with("spf.advertise"), IsEmpty());
}

TEST_F(TheAdvertisedHost, OfIPv6GetsBrackets) {
  EXPECT_EQ(announcedFor(bound, std::string("2001:db8::7")), "tcp://[2001:db8::7]:" + port);
  EXPECT_EQ(announcedFor(bound, std::string("[2001:db8::7]")), "tcp://[2001:db8::7]:" + port);
}

TEST_F(TheAdvertisedHost, IsNotUsedIfItIsNone) {
  for (const auto* text :
       {"", "*", "0.0.0.0", "::", "[::]", "host:5555", "tcp://host", "a b", "[host]", "fe80::1%eth0"}) {
    EXPECT_EQ(announcedFor(bound, std::string(text)), bound) << text;
    EXPECT_THAT(warnings.with("'spf.advertise' is not used: '" + std::string(text) + "'"), SizeIs(1)) << text;
  }
}

TEST_F(TheAdvertisedHost, IsNotUsedIfItIsNoText) {
  EXPECT_EQ(announcedFor(bound, Any(42)), bound);
  EXPECT_THAT(warnings.with("'spf.advertise' is not used: it is no text"), SizeIs(1));
}

}  // namespace
