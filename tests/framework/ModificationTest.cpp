#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include <cppmicroservices/Constants.h>
#include "agent/spf/frameworkinterfaces/EndpointStatus.hpp"
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"
#include "agent/spf/frameworkwatch/PublisherWatch.hpp"
#include "spf/test/localHostIsKnown.hpp"
#include "support/ForeignPeer.hpp"
#include "support/RecordingTransport.hpp"
#include "support/RunningFramework.hpp"
#include "support/StatusWatch.hpp"
#include "support/TemporaryFolder.hpp"
#include "support/listeningAddresses.hpp"

namespace {

using agent::spf::frameworkinterfaces::EndpointState;
using agent::spf::frameworkinterfaces::EndpointStatus;
using agent::spf::frameworkinterfaces::Transport;
using agent::spf::frameworksetup::SPFConfigurationBuilder;
using agent::spf::frameworkwatch::PublisherWatch;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using frameworktest::Configuration;
using frameworktest::ForeignPeer;
using frameworktest::freeAddress;
using frameworktest::freePort;
using frameworktest::legacy;
using frameworktest::listeningAddresses;
using frameworktest::RecordingTransport;
using frameworktest::rpc;
using frameworktest::RunningFramework;
using frameworktest::StatusWatch;
using frameworktest::TakenPort;
using frameworktest::TemporaryFolder;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;

/// A framework whose transport is observed.
class ModificationFixture : public testing::Test {
 protected:
  ~ModificationFixture() override { registration.Unregister(); }

  /// Writes a revision, and waits for these events.
  void apply(const Configuration& configuration, const std::vector<std::string>& events) {
    framework.update("weather", configuration);
    for (const auto& event : events) {
      ASSERT_NE(framework.events().waitFor(event), "") << event;
    }
  }

  /// Waits until the publishers have handled everything that was written before.
  void settle() {
    const auto origin = "settled#" + std::to_string(++settled);
    framework.update("settled", Configuration(settled).publisher("settled"));
    ASSERT_NE(framework.events().waitFor("published " + origin), "");
  }

  /// Sends a request over a connection of the framework to a peer, which answers it.
  /// \return the name of the connection at the peer
  std::string connectionOf(const std::string& publisher, const std::string& endpoint, ForeignPeer& peer) {
    std::string answer;
    std::thread asker([&] { answer = transport->ask(publisher, endpoint, "question", spf::test::patience); });
    auto name = peer.answer("answer");
    asker.join();
    EXPECT_EQ(answer, "answer");
    return name;
  }

  RunningFramework framework;
  const std::shared_ptr<RecordingTransport> transport =
      std::make_shared<RecordingTransport>(framework.service<Transport>());
  cppmicroservices::ServiceRegistration<Transport> registration = framework.context().RegisterService<Transport>(
      transport, {{cppmicroservices::Constants::SERVICE_RANKING, Any(1)}});
  int settled = 0;
};

class AModification : public ModificationFixture {
 protected:
  const std::string one = freeAddress();
  const std::string two = freeAddress();
  const std::string three = freeAddress();
  const std::string four = freeAddress();
};

TEST_F(AModification, OfOneOfThreeEndpointsKeepsTheConnectionsOfTheOthers) {
  apply(Configuration(1).publisher("station").bind(one).bind(two).bind(three), {"published station#1"});
  auto first = ForeignPeer::connectedTo(one);
  auto last = ForeignPeer::connectedTo(three);
  transport->takeLines();
  apply(Configuration(2).publisher("station").bind(one).bind(four).bind(three), {"published station#2"});
  EXPECT_THAT(transport->takeLines(), ElementsAre("close station " + two, "bind station " + four));
  for (auto* peer : {&first, &last}) {
    EXPECT_THAT(peer->ask(), HasSubstr(R"("station")"));
    EXPECT_EQ(peer->connections(), 1);
  }
}

TEST_F(AModification, OfOneOfThreeConnectionsKeepsTheOthers) {
  auto first = ForeignPeer::boundTo(one);
  auto second = ForeignPeer::boundTo(two);
  auto last = ForeignPeer::boundTo(three);
  auto other = ForeignPeer::boundTo(four);
  apply(Configuration(1).publisher("display").connect(one).connect(two).connect(three),
        {"connected display#1 " + one, "connected display#1 " + two, "connected display#1 " + three});
  const auto nameAtFirst = connectionOf("display", one, first);
  const auto nameAtLast = connectionOf("display", three, last);
  transport->takeLines();
  apply(Configuration(2).publisher("display").connect(one).connect(four).connect(three),
        {"stillConnected display#2 " + one, "connected display#2 " + four, "stillConnected display#2 " + three});
  EXPECT_THAT(transport->takeLines(), ElementsAre("close display " + two, "connect display " + four));
  EXPECT_EQ(connectionOf("display", one, first), nameAtFirst);
  EXPECT_EQ(connectionOf("display", three, last), nameAtLast);
  EXPECT_EQ(first.connections(), 1);
  EXPECT_EQ(last.connections(), 1);
}

TEST_F(AModification, OfServicesAndFiltersKeepsEveryConnection) {
  auto remote = ForeignPeer::boundTo(two);
  apply(Configuration(1).publisher("station").bind(one).connect(two).service("t", "weather.Temperature"),
        {"published station#1", "connected station#1 " + two});
  auto peer = ForeignPeer::connectedTo(one);
  const auto name = connectionOf("station", two, remote);
  EXPECT_THAT(peer.ask(), AllOf(HasSubstr("weather.Temperature"), Not(HasSubstr("weather.Humidity"))));
  transport->takeLines();

  Configuration services(2);
  services.publisher("station").bind(one).connect(two).service("h", "weather.Humidity");
  apply(services, {"published station#2", "stillBound station#2", "stillConnected station#2"});
  EXPECT_THAT(peer.ask(), AllOf(HasSubstr("weather.Humidity"), Not(HasSubstr("weather.Temperature"))));
  Configuration filters(3);
  filters.publisher("station").bind(one).connect(two).importFilter("(a=b)").exportFilter("(unit=none)");
  filters.service("h", "weather.Humidity");
  apply(filters, {"published station#3", "stillBound station#3", "stillConnected station#3"});
  EXPECT_THAT(peer.ask(), Not(HasSubstr("weather.Humidity")));

  EXPECT_THAT(transport->takeLines(), IsEmpty());
  EXPECT_EQ(connectionOf("station", two, remote), name);
  EXPECT_EQ(peer.connections(), 1);
  EXPECT_EQ(remote.connections(), 1);
}

TEST_F(AModification, OfOrderAndRepetitionOpensAndClosesNothing) {
  apply(Configuration(1).publisher("station").bind(one).bind(two).connect(three), {"published station#1"});
  transport->takeLines();
  apply(Configuration(2).publisher("station").connect(three).bind(two).bind(one), {"published station#2"});
  apply(Configuration(3).publisher("station").bind(one).bind(two).bind(one).connect(three).connect(three),
        {"published station#3"});
  apply(Configuration(4).publisher("station").bind(one).bind(two).connect(three), {"published station#4"});
  EXPECT_THAT(transport->takeLines(), IsEmpty());
}

TEST_F(AModification, ThatRepairsAnEndpointKeepsTheConnectionsOfTheOthers) {
  const TakenPort taken;
  apply(Configuration(1).publisher("station").bind(one).bind(taken.address()), {"error station#1"});
  auto peer = ForeignPeer::connectedTo(one);
  transport->takeLines();
  apply(Configuration(2).publisher("station").bind(one).bind(two), {"published station#2"});
  EXPECT_THAT(transport->takeLines(), ElementsAre("bind station " + two));
  EXPECT_THAT(peer.ask(), HasSubstr(R"("station")"));
  EXPECT_EQ(peer.connections(), 1);
}

TEST_F(AModification, ThatBreaksAnEndpointKeepsTheConnectionsOfTheOthers) {
  apply(Configuration(1).publisher("station").bind(one).bind(two), {"published station#1"});
  auto peer = ForeignPeer::connectedTo(one);
  transport->takeLines();
  apply(Configuration(2).publisher("station").bind(one).bind("no sense"), {"error station#2"});
  EXPECT_THAT(transport->takeLines(), ElementsAre("close station " + two));
  EXPECT_THAT(peer.ask(), HasSubstr(R"("station")"));
  EXPECT_EQ(peer.connections(), 1);
}

TEST_F(AModification, ThatChangesAnEndpointsDirectionOpensItAnew) {
  apply(Configuration(1).publisher("station").bind(one), {"published station#1"});
  transport->takeLines();
  apply(Configuration(2).publisher("station").connect(one), {"published station#2"});
  EXPECT_THAT(transport->takeLines(), ElementsAre("close station " + one, "connect station " + one));
}

TEST_F(AModification, OfOnePublisherConcernsNoOther) {
  apply(Configuration(1).publisher("a").bind(one).publisher("b").bind(two), {"published a#1", "published b#1"});
  auto peer = ForeignPeer::connectedTo(two);
  transport->takeLines();
  apply(Configuration(2).publisher("a").bind(three).publisher("b").bind(two), {"published a#2", "published b#2"});
  EXPECT_THAT(transport->takeLines(), ElementsAre("close a " + one, "bind a " + three));
  EXPECT_THAT(peer.ask(), HasSubstr(R"("b")"));
  EXPECT_EQ(peer.connections(), 1);
}

TEST_F(AModification, ThatAddsAPublisherConcernsNoOther) {
  apply(Configuration(1).publisher("b").bind(two), {"published b#1"});
  auto peer = ForeignPeer::connectedTo(two);
  transport->takeLines();
  apply(Configuration(2).publisher("a").bind(one).publisher("b").bind(two), {"published a#2", "published b#2"});
  EXPECT_THAT(transport->takeLines(), ElementsAre("bind a " + one));
  EXPECT_THAT(peer.ask(), HasSubstr(R"("b")"));
  EXPECT_EQ(peer.connections(), 1);
}

TEST_F(AModification, ThatRemovesAPublisherReportsItAsUnpublishedInItsLastRevision) {
  apply(Configuration(3).publisher("a").bind(one).publisher("b").bind(two), {"published a#3", "published b#3"});
  auto peer = ForeignPeer::connectedTo(two);
  transport->takeLines();
  apply(Configuration(4).publisher("b").bind(two), {"unpublished a#3", "published b#4"});
  EXPECT_THAT(framework.events().linesWith("unpublished"), ElementsAre("unpublished a#3"));
  EXPECT_THAT(transport->takeLines(), ElementsAre("close a " + one));
  EXPECT_THAT(listeningAddresses(one), IsEmpty());
  EXPECT_THAT(peer.ask(), HasSubstr(R"("b")"));
  EXPECT_EQ(peer.connections(), 1);
}

TEST_F(AModification, ThatRemovesAPublisherAndAddsItAgainPublishesItAnew) {
  for (int count = 1; count < 10; count += 2) {
    const auto here = "a#" + std::to_string(count);
    apply(Configuration(count).publisher("a").bind(one).publisher("b"), {"bound " + here + " " + one});
    framework.update("weather", Configuration(count + 1).publisher("b"));
    ASSERT_NE(framework.events().waitFor("unpublished " + here), "");
  }
  EXPECT_THAT(framework.events().linesWith("error"), IsEmpty());
}

/// The order of two publishers in the configuration.
class AMovedEndpoint : public AModification, public testing::WithParamInterface<bool> {
 protected:
  /// A revision of two publishers, with the endpoint that moves at one of them.
  Configuration revision(int count, const std::string& owner) {
    Configuration configuration(count);
    for (const std::string id : {GetParam() ? "a" : "b", GetParam() ? "b" : "a"}) {
      configuration.publisher(id).bind(id == "a" ? one : two);
      if (id == owner) {
        configuration.bind(three);
      }
    }
    return configuration;
  }
};

INSTANTIATE_TEST_SUITE_P(Of, AMovedEndpoint, testing::Bool(), [](const auto& givesFirst) {
  return std::string(givesFirst.param ? "TheFirstPublisher" : "TheSecondPublisher");
});

TEST_P(AMovedEndpoint, BelongsToTheOtherPublisherAndTheOtherConnectionsStay) {
  apply(revision(1, "a"), {"published a#1", "published b#1"});
  auto peerOfA = ForeignPeer::connectedTo(one);
  auto peerOfB = ForeignPeer::connectedTo(two);
  auto moved = ForeignPeer::connectedTo(three);
  EXPECT_THAT(moved.ask(), HasSubstr(R"("a")"));
  transport->takeLines();
  apply(revision(2, "b"), {"published a#2", "published b#2"});
  EXPECT_THAT(transport->takeLines(), UnorderedElementsAre("close a " + three, "bind b " + three));
  ASSERT_TRUE(moved.waitForConnection(2));
  EXPECT_THAT(moved.ask(), HasSubstr(R"("b")"));
  EXPECT_THAT(peerOfA.ask(), HasSubstr(R"("a")"));
  EXPECT_THAT(peerOfB.ask(), HasSubstr(R"("b")"));
  EXPECT_EQ(peerOfA.connections(), 1);
  EXPECT_EQ(peerOfB.connections(), 1);
  EXPECT_THAT(framework.events().linesWith("error"), IsEmpty());
}

/// Two spellings of one address.
struct Spellings {
  std::string name;
  std::string first;
  std::string second;
};

void PrintTo(const Spellings& spellings, std::ostream* out) {
  *out << spellings.name;
}

/// An address that is closed and used anew, in turn under two spellings.
class AnAddressUsedAnew : public testing::TestWithParam<Spellings> {
 protected:
  void SetUp() override {
    if (second.find("localhost") != std::string::npos && !spf::test::localHostIsKnown()) {
      GTEST_SKIP() << spf::test::localHostIsUnknown;
    }
  }

  /// Replaces the placeholders of a free port and of a folder for local sockets.
  std::string fill(std::string text) const {
    for (const auto& [placeholder, value] :
         {std::pair<std::string, std::string>("PORT", port), {"FOLDER", folder.path()}}) {
      if (const auto position = text.find(placeholder); position != std::string::npos) {
        text.replace(position, placeholder.size(), value);
      }
    }
    return text;
  }

  std::string spelling(int count) const { return count % 2 == 0 ? second : first; }

  /// Waits until a revision's endpoint is bound.
  void expectBound(const std::string& publisher, int count) {
    const auto event = "bound " + publisher + "#" + std::to_string(count) + " " + spelling(count);
    ASSERT_TRUE(framework.events().waitForEither(event, "error"));
    ASSERT_THAT(framework.events().linesWith("error"), IsEmpty());
  }

  const std::string port = freePort();
  const TemporaryFolder folder;
  const std::string first = fill(GetParam().first);
  const std::string second = fill(GetParam().second);
  RunningFramework framework{AnyMap(AnyMap::ORDERED_MAP, {{"name", fill("tcp://127.0.0.1:PORT")}})};
};

INSTANTIATE_TEST_SUITE_P(With, AnAddressUsedAnew,
                         testing::Values(Spellings{"AllHosts", "tcp://127.0.0.1:PORT", "tcp://*:PORT"},
                                         Spellings{"AHostName", "tcp://127.0.0.1:PORT", "tcp://localhost:PORT"},
                                         Spellings{"AnInterface", "tcp://127.0.0.1:PORT", "tcp://lo:PORT"},
                                         Spellings{"ADiscoveryName", "tcp://127.0.0.1:PORT", "name"},
                                         Spellings{"ADotInThePath", "ipc://FOLDER/x", "ipc://FOLDER/./x"},
                                         Spellings{"AnAbstractName", "ipc://@spf-anew-PORT", "ipc://@spf-anew-PORT"},
                                         Spellings{"AnInternalName", "inproc://anew", "inproc://anew"}),
                         [](const auto& spellings) { return spellings.param.name; });

constexpr int rounds = 8;

TEST_P(AnAddressUsedAnew, ByTheSamePublisherIsFree) {
  for (int count = 1; count <= rounds; ++count) {
    Configuration revision(count);
    revision.publisher("station").bind(spelling(count));
    framework.update("weather", revision);
    const auto state = first == second && count > 1 ? "stillBound" : "bound";
    const auto event = state + std::string(" station#") + std::to_string(count) + " " + spelling(count);
    ASSERT_TRUE(framework.events().waitForEither(event, "error"));
    ASSERT_THAT(framework.events().linesWith("error"), IsEmpty());
  }
}

TEST_P(AnAddressUsedAnew, ByAnotherPublisherOfTheConfigurationIsFree) {
  for (int count = 1; count <= rounds; ++count) {
    const std::string owner = count % 2 == 0 ? "a" : "b";
    Configuration revision(count);
    for (const std::string id : {"a", "b"}) {
      revision.publisher(id);
      if (id == owner) {
        revision.bind(spelling(count));
      }
    }
    framework.update("weather", revision);
    expectBound(owner, count);
  }
}

TEST_P(AnAddressUsedAnew, ByAPublisherThatReplacesARemovedOneIsFree) {
  for (int count = 1; count <= rounds; ++count) {
    const std::string owner = count % 2 == 0 ? "a" : "b";
    framework.update("weather", Configuration(count).publisher(owner).bind(spelling(count)));
    expectBound(owner, count);
  }
}

TEST_P(AnAddressUsedAnew, ByThePublisherAsOneOfTheOtherKindIsFree) {
  for (int count = 1; count <= rounds; ++count) {
    framework.update("weather",
                     Configuration(count).publisher("station", count % 2 == 0 ? rpc : legacy).bind(spelling(count)));
    expectBound("station", count);
  }
}

TEST_P(AnAddressUsedAnew, ByAnotherConfigurationIsFreeAfterAModification) {
  for (int count = 1; count <= rounds; ++count) {
    const std::string from = count % 2 == 0 ? "a" : "b";
    const std::string to = count % 2 == 0 ? "b" : "a";
    framework.update(from, Configuration(count).publisher(from));
    framework.update(to, Configuration(count).publisher(to).bind(spelling(count)));
    expectBound(to, count);
  }
}

TEST_P(AnAddressUsedAnew, ByAnotherConfigurationIsFreeAfterAWithdrawal) {
  for (int count = 1; count <= rounds; ++count) {
    const auto id = "round" + std::to_string(count);
    framework.update(id, Configuration(count).publisher(id).bind(spelling(count)));
    expectBound(id, count);
    framework.remove(id);  // not waited for
  }
}

#ifdef SPF_RUNTIME_BUNDLED
// CppMicroServices loses a configuration that is created right after the removal of one with its name.
TEST_P(AnAddressUsedAnew, ByTheConfigurationItselfIsFreeAfterAWithdrawalThatNobodyWaitsFor) {
  for (int count = rounds; count > 0; --count) {
    framework.update("weather", Configuration(count).publisher("station").bind(spelling(count)));
    expectBound("station", count);
    framework.remove("weather");
  }
}
#endif

TEST(AWildcardsPort, IsFreeForThePublisherThatConfiguresItByNumber) {
  RunningFramework framework;
  StatusWatch status(framework.service<EndpointStatus>());
  for (unsigned int count = 1; count < 40; count += 2) {
    framework.update("weather", Configuration(static_cast<int>(count)).publisher("station").bind("tcp://127.0.0.1:*"));
    const auto isUp = [&](const EndpointState& state) {
      return state.phase == EndpointState::Phase::up && state.modificationCount == count;
    };
    const auto got = status.waitFor("station", isUp).address;
    framework.update("weather", Configuration(static_cast<int>(count) + 1).publisher("station").bind(got));
    const auto event = "bound station#" + std::to_string(count + 1) + " " + got;
    ASSERT_TRUE(framework.events().waitForEither(event, "error"));
    ASSERT_THAT(framework.events().linesWith("error"), IsEmpty());
  }
}

/// A removal whose sockets are held open until the test releases them.
class ARemovalUnderWay : public ModificationFixture {
 protected:
  void SetUp() override {
    apply(Configuration(5).publisher("station").bind("inproc://one"), {"published station#5"});
    transport->hold();
    framework.remove("weather");
    settle();
    transport->takeLines();
    framework.events().clear();
  }
  void TearDown() override { transport->release(); }
};

TEST_F(ARemovalUnderWay, IsReportedOnlyOnceTheSocketsAreClosed) {
  EXPECT_THAT(framework.events().lines(), IsEmpty());
  transport->release();
  EXPECT_NE(framework.events().waitFor("unpublished station#5"), "");
}

TEST_F(ARemovalUnderWay, DelaysThePublicationOfTheSameIDs) {
  framework.update("weather", Configuration(1).publisher("station").bind("inproc://two"));
  settle();
  EXPECT_THAT(framework.events().linesWith("bound"), IsEmpty());
  EXPECT_THAT(transport->takeLines(), IsEmpty());
  transport->release();
  ASSERT_NE(framework.events().waitFor("published station#1"), "");
  EXPECT_THAT(transport->takeLines(), ElementsAre("bind station inproc://two"));
  const auto lines = framework.events().lines();
  const auto unpublished = std::find(lines.begin(), lines.end(), "unpublished station#5");
  EXPECT_LT(unpublished, std::find(lines.begin(), lines.end(), "bound station#1 inproc://two"));
}

TEST_F(ARemovalUnderWay, IsFollowedByTheNewestOfTheRevisionsThatArriveMeanwhile) {
  framework.update("weather", Configuration(1).publisher("station").bind("inproc://two"));
  settle();
  framework.update("weather", Configuration(2).publisher("station").bind("inproc://three"));
  settle();
  transport->release();
  ASSERT_NE(framework.events().waitFor("published station#2"), "");
  EXPECT_THAT(transport->takeLines(), ElementsAre("bind station inproc://three"));
  EXPECT_THAT(framework.events().linesWith("published station"), ElementsAre("published station#2"));
}

TEST_F(ARemovalUnderWay, ReportsTheNextRevisionAsUnpublishedIfItIsWithdrawnToo) {
  framework.update("weather", Configuration(1).publisher("station").bind("inproc://two"));
  settle();
  framework.remove("weather");
  settle();
  transport->release();
  ASSERT_NE(framework.events().waitFor("unpublished station#1"), "");
  EXPECT_THAT(framework.events().linesWith("unpublished"),
              ElementsAre("unpublished station#5", "unpublished station#1"));
  EXPECT_THAT(transport->takeLines(), IsEmpty());
  EXPECT_THAT(framework.service<EndpointStatus>()->list(), IsEmpty());
}

/// A configuration whose count begins anew while its predecessor is still there, as that of a fresh builder does.
class ACountThatBeginsAnew : public AModification {
 protected:
  void SetUp() override {
    apply(Configuration(5).publisher("a").bind(one).bind(two).publisher("b").bind(three),
          {"published a#5", "published b#5"});
    transport->takeLines();
  }
};

TEST_F(ACountThatBeginsAnew, WithdrawsThePredecessorAndPublishesTheNewState) {
  apply(Configuration(1).publisher("a").bind(one).bind(four).publisher("b").bind(three),
        {"published a#1", "published b#1"});
  EXPECT_THAT(framework.events().linesWith("unpublished"), UnorderedElementsAre("unpublished a#5", "unpublished b#5"));
  EXPECT_THAT(framework.events().linesWith("still"), IsEmpty());
  EXPECT_THAT(framework.events().linesWith("error"), IsEmpty());
  EXPECT_THAT(transport->takeLines(), UnorderedElementsAre("close a " + one, "close a " + two, "close b " + three,
                                                           "bind a " + one, "bind a " + four, "bind b " + three));
  EXPECT_THAT(listeningAddresses(two), IsEmpty());
}

TEST_F(ACountThatBeginsAnew, LeavesOutThePublishersThatTheNewStateLacks) {
  apply(Configuration(1).publisher("b").bind(one), {"unpublished a#5", "unpublished b#5", "published b#1"});
  settle();
  EXPECT_THAT(framework.events().linesWith("published a"), ElementsAre("published a#5"));
  EXPECT_THAT(framework.events().linesWith("error"), IsEmpty());
}

TEST_F(ACountThatBeginsAnew, IsAModificationIfItIsNotLower) {
  apply(Configuration(5).publisher("a").bind(one).bind(four).publisher("b").bind(three),
        {"bound a#5 " + four, "stillBound a#5 " + one, "stillBound b#5 " + three});
  settle();
  EXPECT_THAT(framework.events().linesWith("unpublished"), IsEmpty());
  EXPECT_THAT(transport->takeLines(), ElementsAre("close a " + two, "bind a " + four));
}

TEST_F(ACountThatBeginsAnew, CountsOnFromThere) {
  apply(Configuration(1).publisher("a").bind(one), {"published a#1"});
  transport->takeLines();
  apply(Configuration(2).publisher("a").bind(one).bind(two), {"published a#2"});
  EXPECT_THAT(transport->takeLines(), ElementsAre("bind a " + two));
  EXPECT_THAT(framework.events().linesWith("stillBound a#2"), ElementsAre("stillBound a#2 " + one));
}

TEST_F(ACountThatBeginsAnew, LeavesNoTraceAfterAnAwaitedWithdrawal) {
  apply(Configuration(1).publisher("a").bind(one).publisher("b").bind(four), {"published a#1", "published b#1"});
  for (const auto& [ofA, ofB] : {std::pair(two, three), std::pair(four, one), std::pair(one, four)}) {
    framework.remove("weather");
    ASSERT_NE(framework.events().waitFor("unpublished a#1"), "");
    ASSERT_NE(framework.events().waitFor("unpublished b#1"), "");
    // Only now, since one publication may be reported more than once.
    framework.events().clear();
    EXPECT_THAT(framework.service<EndpointStatus>()->list(), IsEmpty());
    transport->takeLines();
    apply(Configuration(1).publisher("a").bind(ofA).publisher("b").bind(ofB), {"published a#1", "published b#1"});
    EXPECT_THAT(transport->takeLines(), UnorderedElementsAre("bind a " + ofA, "bind b " + ofB));
    EXPECT_THAT(framework.events().linesWith("error"), IsEmpty());
  }
}

/// The same with the library's own handles.
class AFreshBuilder : public AModification {
 protected:
  static SPFConfigurationBuilder station(SPFConfigurationBuilder builder, const std::string& address) {
    builder.addServicePublisher("station", rpc, {}, {address}, "", "");
    return builder;
  }
};

TEST_F(AFreshBuilder, OfAnIDThatIsStillPublishedReplacesTheConfiguration) {
  auto old = station(SPFConfigurationBuilder("weather"), one).build();
  old = station(old.modify(), two).build();
  ASSERT_NE(framework.events().waitFor("published station#2"), "");
  transport->takeLines();
  framework.events().clear();
  auto fresh = station(SPFConfigurationBuilder("weather"), three).build();
  ASSERT_NE(framework.events().waitFor("published station#1"), "");
  EXPECT_THAT(framework.events().linesWith("unpublished"), ElementsAre("unpublished station#2"));
  EXPECT_THAT(transport->takeLines(), ElementsAre("close station " + two, "bind station " + three));
  EXPECT_EQ(fresh.getConfigurationID(), old.getConfigurationID());
  old.reset();  // withdraws the one configuration that both handles stand for
  EXPECT_NE(framework.events().waitFor("unpublished station#1"), "");
}

TEST_F(AFreshBuilder, OfAnIDWhosePublishersAreAllUnpublishedPublishesItAnew) {
  auto configuration = station(SPFConfigurationBuilder("weather"), one).build();
  configuration = station(configuration.modify(), two).build();
  ASSERT_NE(framework.events().waitFor("published station#2"), "");
  framework.events().clear();
  auto fresh = station(SPFConfigurationBuilder("weather"), three).build();
  ASSERT_NE(framework.events().waitFor("published station#1"), "");
  configuration.reset();
  fresh.reset();
  ASSERT_NE(framework.events().waitFor("unpublished station#1"), "");
  for (const auto& address : {one, two, three}) {
    PublisherWatch watch(framework.context(), {"station"});
    configuration = station(SPFConfigurationBuilder("weather"), address).build();
    ASSERT_TRUE(configuration.waitForAllServices(spf::test::patience, "station"));
    ASSERT_TRUE(watch.waitUntilAllPublished(spf::test::patience));
    EXPECT_THAT(listeningAddresses(address), ElementsAre(address));
    configuration.reset();
    ASSERT_TRUE(watch.waitUntilAllUnpublished(spf::test::patience));
    EXPECT_THAT(listeningAddresses(address), IsEmpty());
  }
}

}  // namespace
