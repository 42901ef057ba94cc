#include <filesystem>
#include <thread>
#include <utility>
#include <vector>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/Constants.h>
#include <stdlib.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>
#include "agent/spf/frameworkinterfaces/Transport.hpp"
#include "spf/test/Gate.hpp"
#include "support/FakeTransport.hpp"
#include "support/RunningFramework.hpp"

namespace {

using agent::spf::frameworkinterfaces::Transport;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using cppmicroservices::service::cm::ConfigurationAdmin;
using frameworktest::Configuration;
using frameworktest::FakeTransport;
using frameworktest::freeAddress;
using frameworktest::legacy;
using frameworktest::rpc;
using frameworktest::RunningFramework;
using frameworktest::TakenPort;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class APublisher : public testing::Test {
 protected:
  std::string waitFor(const std::string& line) { return framework.events().waitFor(line); }

  /// Writes a configuration with one publisher, and waits until it is published.
  void publish(const std::string& id, const Configuration& configuration, const std::string& origin) {
    framework.update(id, configuration);
    ASSERT_NE(waitFor("published " + origin), "");
  }

  /// Sends requests until the transport has noticed that the peer is disconnected.
  void waitUntilDisconnected(const std::string& id, const std::string& address) {
    const auto transport = framework.service<Transport>();
    for (std::string error; error.find("not connected") == std::string::npos; std::this_thread::yield()) {
      try {
        transport->ask(id, address, "", std::chrono::milliseconds::zero());
      } catch (const std::runtime_error& exception) {
        error = exception.what();
      }
    }
  }

  RunningFramework framework;
};

TEST_F(APublisher, ReportsItsEndpointAndThenItsServices) {
  const auto address = freeAddress();
  publish("weather", Configuration(1).publisher("station").bind(address).service("t", "weather.Temperature"),
          "station#1");
  EXPECT_THAT(framework.events().lines(), ElementsAre("bound station#1 " + address, "published station#1"));
}

TEST_F(APublisher, IsPublishedAtOnceWithoutEndpointsAndServices) {
  publish("weather", Configuration(1).publisher("station"), "station#1");
  EXPECT_THAT(framework.events().lines(), ElementsAre("published station#1"));
}

TEST_F(APublisher, ConnectsToAnotherPublisher) {
  const auto address = freeAddress();
  framework.update("server", Configuration(1).publisher("station").bind(address));
  framework.update("client", Configuration(1).publisher("display").connect(address));
  EXPECT_NE(waitFor("bound station#1 " + address), "");
  EXPECT_NE(waitFor("connected display#1 " + address), "");
}

TEST_F(APublisher, ConnectsToAPeerThatStartsLater) {
  const auto address = freeAddress();
  publish("client", Configuration(1).publisher("display").connect(address), "display#1");
  EXPECT_THAT(framework.events().linesWith("connected"), IsEmpty());
  framework.update("server", Configuration(1).publisher("station").bind(address));
  EXPECT_NE(waitFor("connected display#1 " + address), "");
}

TEST_F(APublisher, PublishesWithoutWaitingForConnections) {
  framework.update("client", Configuration(1)
                                 .publisher("display")
                                 .connect("tcp://no-such-host.invalid:5555")
                                 .connect(freeAddress())
                                 .service("t", "weather.Temperature"));
  EXPECT_NE(waitFor("published display#1"), "");
  EXPECT_THAT(framework.events().linesWith("error"), IsEmpty());
}

TEST_F(APublisher, FailsWhenThePortIsTaken) {
  const TakenPort taken;
  framework.update("weather", Configuration(1).publisher("station").bind(taken.address()));
  EXPECT_THAT(waitFor("error station#1"),
              AllOf(HasSubstr("'station'"), HasSubstr("'" + taken.address() + "'"), HasSubstr("in use")));
}

TEST_F(APublisher, FailsForAnAddressOfAnotherMachine) {
  framework.update("weather", Configuration(1).publisher("station").bind("tcp://192.0.2.1:5555"));
  EXPECT_THAT(waitFor("error station#1"), HasSubstr("tcp://192.0.2.1:5555"));
}

TEST_F(APublisher, FailsForAMalformedEndpoint) {
  for (const auto* endpoint :
       {"no sense", "a/b", "a:b", "tcp://", "://x", "", "tcp://127.0.0.1", "tcp://127.0.0.1:seventy"}) {
    const std::string id = std::string("station of ") + endpoint;
    framework.update(id, Configuration(1).publisher(id).bind(endpoint));
    EXPECT_THAT(waitFor("error " + id + "#1"), HasSubstr("'" + std::string(endpoint) + "'"));
  }
}

TEST_F(APublisher, FailsForAMalformedEndpointToConnectTo) {
  framework.update("weather", Configuration(1).publisher("display").connect("tcp:/127.0.0.1:1"));
  EXPECT_THAT(waitFor("error display#1"), AllOf(HasSubstr("malformed"), HasSubstr("'tcp:/127.0.0.1:1'")));
}

TEST_F(APublisher, FailsForAMalformedEndpointOfEitherKind) {
  framework.update("old", Configuration(1).publisher("old", legacy).connect("no sense"));
  EXPECT_THAT(waitFor("error old#1"), AllOf(HasSubstr("'no sense'"), HasSubstr("a discovery name of letters")));
}

TEST_F(APublisher, FailsForASchemeThatIsNotSupported) {
  framework.update("weather", Configuration(1).publisher("station").bind("udp://127.0.0.1:5555"));
  EXPECT_THAT(waitFor("error station#1"), AllOf(HasSubstr("'udp'"), HasSubstr("expected tcp, ipc or inproc")));
}

TEST_F(APublisher, FailsForAnEndpointThatIsNoText) {
  framework.update("a", Configuration(1).publisher("number").bind(Any(42)));
  framework.update("b", Configuration(1).publisher("empty").connect(Any()));
  framework.update("c", Configuration(1).publisher("list").bind(Any(std::vector<Any>{Any()})));
  EXPECT_THAT(waitFor("error number#1"), AllOf(HasSubstr("endpointsToBindTo[0], '42'"), HasSubstr("no text")));
  EXPECT_THAT(waitFor("error empty#1"), HasSubstr("endpointsToConnectTo[0], an empty value"));
  EXPECT_THAT(waitFor("error list#1"), HasSubstr("endpointsToBindTo[0], a value without a text form"));
}

TEST_F(APublisher, FailsForAnInterfaceThatNoBundleOffers) {
  framework.update("weather", Configuration(1).publisher("station").service("w", "weather.Wind"));
  EXPECT_THAT(waitFor("error station#1"), AllOf(HasSubstr("'station'"), HasSubstr("'weather.Wind'")));
}

TEST_F(APublisher, FailsForAMalformedFilter) {
  framework.update("a", Configuration(1).publisher("importer").importFilter("(broken"));
  framework.update("b", Configuration(1).publisher("exporter").exportFilter("(a=b)x"));
  EXPECT_THAT(waitFor("error importer#1"), HasSubstr("importFilter '(broken'"));
  EXPECT_THAT(waitFor("error exporter#1"), HasSubstr("exportFilter '(a=b)x'"));
}

TEST_F(APublisher, FailsForAConfigurationThatCannotBeRead) {
  const auto write = [&](const std::string& instance, AnyMap properties) {
    framework.service<ConfigurationAdmin>()
        ->GetFactoryConfiguration("zk.spf.rpcservicepublisher", instance)
        ->Update(std::move(properties));
  };
  write("nobody", AnyMap(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS));
  write("broken", AnyMap(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS,
                         {{"uniqueID", std::string("broken")}, {"modificationCount", 4}}));
  EXPECT_THAT(waitFor("error broken#4"), HasSubstr("publisher 'broken': its configuration cannot be read: "));
  publish("weather", Configuration(1).publisher("station"), "station#1");
}

TEST_F(APublisher, FailsForAMappingToAnUnknownInterface) {
  framework.update("weather", Configuration(1).publisher("station").mapping("ghost"));
  EXPECT_THAT(waitFor("error station#1"), AllOf(HasSubstr("'station'"), HasSubstr("'ghost'")));
}

TEST_F(APublisher, ReportsOneErrorForEachRevision) {
  const TakenPort taken;
  const auto broken = [&](int count) {
    return Configuration(count)
        .publisher("station")
        .bind("no sense")
        .bind(taken.address())
        .service("w", "weather.Wind");
  };
  framework.update("weather", broken(1));
  EXPECT_NE(waitFor("error station#1"), "");
  framework.update("weather", broken(2));
  EXPECT_NE(waitFor("error station#2"), "");
  framework.remove("weather");
  EXPECT_NE(waitFor("unpublished station#2"), "");
  EXPECT_EQ(framework.events().linesWith("error").size(), 2u);
  EXPECT_THAT(framework.events().linesWith("published"), IsEmpty());
}

TEST_F(APublisher, RecoversWithAValidRevision) {
  framework.update("weather", Configuration(1).publisher("station").bind("no sense"));
  EXPECT_NE(waitFor("error station#1"), "");
  const auto address = freeAddress();
  publish("weather", Configuration(2).publisher("station").bind(address), "station#2");
  EXPECT_NE(waitFor("bound station#2 " + address), "");
}

TEST_F(APublisher, DoesNotAffectOthersWhenItFails) {
  const auto address = freeAddress();
  framework.update("weather", Configuration(1)
                                  .publisher("bad")
                                  .bind("no sense")
                                  .publisher("good")
                                  .bind(address)
                                  .service("t", "weather.Temperature"));
  EXPECT_NE(waitFor("error bad#1"), "");
  EXPECT_NE(waitFor("published good#1"), "");
  EXPECT_THAT(framework.events().linesWith("error good"), IsEmpty());
}

TEST_F(APublisher, ReportsKeptEndpointsAgainForANewRevision) {
  const auto address = freeAddress();
  publish("server", Configuration(1).publisher("station").bind(address), "station#1");
  framework.update("client", Configuration(1).publisher("display").connect(address));
  ASSERT_NE(waitFor("connected display#1"), "");
  publish("server", Configuration(2).publisher("station").bind(address), "station#2");
  publish("client", Configuration(2).publisher("display").connect(address), "display#2");
  EXPECT_NE(waitFor("stillBound station#2 " + address), "");
  EXPECT_NE(waitFor("stillConnected display#2 " + address), "");
}

TEST_F(APublisher, ReportsALostConnectionOnlyOnceItIsRestored) {
  for (const std::string& address : {std::string("inproc://station"), freeAddress()}) {
    framework.update("server", Configuration(1).publisher("station").bind(address));
    framework.update("client", Configuration(1).publisher("display").connect(address));
    ASSERT_NE(waitFor("connected display#1 " + address), "");
    framework.remove("server");
    ASSERT_NE(waitFor("unpublished station#1"), "");
    waitUntilDisconnected("display", address);
    publish("client", Configuration(2).publisher("display").connect(address), "display#2");
    publish("client", Configuration(3).publisher("display").connect(address), "display#3");
    framework.update("server", Configuration(4).publisher("station").bind(address));
    EXPECT_NE(waitFor("connected display#3 " + address), "");
    EXPECT_THAT(framework.events().linesWith("stillConnected"), IsEmpty());
    EXPECT_THAT(framework.events().linesWith("connected display#2"), IsEmpty());
    framework.remove("server");
    framework.remove("client");
    ASSERT_NE(waitFor("unpublished station#4"), "");
    ASSERT_NE(waitFor("unpublished display#3"), "");
    framework.events().clear();
  }
}

TEST_F(APublisher, ReportsAConnectionOnceForEachRevision) {
  publish("client", Configuration(1).publisher("display").connect("inproc://station"), "display#1");
  for (int count = 1; count <= 3; ++count) {
    const auto origin = "station#" + std::to_string(count);
    publish("server", Configuration(count).publisher("station").bind("inproc://station"), origin);
    framework.remove("server");
    ASSERT_NE(waitFor("unpublished " + origin), "");
  }
  EXPECT_EQ(framework.events().linesWith("connected display#1").size(), 1u);
}

TEST_F(APublisher, ReportsNewEndpointsOfARevisionAsNew) {
  const auto kept = freeAddress();
  const auto added = freeAddress();
  publish("weather", Configuration(1).publisher("station").bind(kept), "station#1");
  publish("weather", Configuration(2).publisher("station").bind(kept).bind(added), "station#2");
  EXPECT_THAT(framework.events().linesWith("bound"),
              ElementsAre("bound station#1 " + kept, "bound station#2 " + added));
  EXPECT_THAT(framework.events().linesWith("stillBound"), ElementsAre("stillBound station#2 " + kept));
}

TEST_F(APublisher, FreesTheEndpointsThatARevisionDrops) {
  const auto dropped = freeAddress();
  publish("weather", Configuration(1).publisher("station").bind(dropped), "station#1");
  publish("weather", Configuration(2).publisher("station"), "station#2");
  publish("weather", Configuration(3).publisher("station").bind(dropped), "station#3");
  EXPECT_NE(waitFor("bound station#3 " + dropped), "");
}

TEST_F(APublisher, PassesAnEndpointToAnotherOneInOneRevision) {
  const auto address = freeAddress();
  for (int count = 1; count < 10; count += 2) {
    const auto first = std::to_string(count);
    const auto second = std::to_string(count + 1);
    framework.update("weather", Configuration(count).publisher("a").bind(address).publisher("b"));
    ASSERT_NE(waitFor("bound a#" + first), "");
    framework.update("weather", Configuration(count + 1).publisher("a").publisher("b").bind(address));
    ASSERT_NE(waitFor("bound b#" + second), "");
  }
  EXPECT_THAT(framework.events().linesWith("error"), IsEmpty());
}

TEST_F(APublisher, IsUnpublishedWhenItsConfigurationIsRemoved) {
  publish("weather", Configuration(3).publisher("station").bind(freeAddress()), "station#3");
  framework.remove("weather");
  EXPECT_NE(waitFor("unpublished station#3"), "");
}

TEST_F(APublisher, FreesItsAddressBeforeItReportsTheEnd) {
  const auto address = freeAddress();
  for (int round = 1; round <= 10; ++round) {
    const auto id = "station" + std::to_string(round);
    publish(id, Configuration(1).publisher(id).bind(address), id + "#1");
    framework.remove(id);
    ASSERT_NE(waitFor("unpublished " + id + "#1"), "");
  }
  EXPECT_THAT(framework.events().linesWith("error"), IsEmpty());
}

// The counts distinguish the rounds, because one round may be reported as published more than once.
TEST_F(APublisher, CanBePublishedAgainOnceItIsUnpublished) {
  const auto address = freeAddress();
  for (int count = 5; count >= 1; --count) {
    framework.update("weather", Configuration(count).publisher("station").bind(address));
    ASSERT_NE(waitFor("published station#" + std::to_string(count)), "");
    framework.remove("weather");
    ASSERT_NE(waitFor("unpublished station#" + std::to_string(count)), "");
  }
}

TEST_F(APublisher, IsUnpublishedWhenARevisionOmitsIt) {
  framework.update("weather", Configuration(1).publisher("station").bind(freeAddress()).publisher("other"));
  ASSERT_NE(waitFor("published station#1"), "");
  framework.update("weather", Configuration(2).publisher("other"));
  EXPECT_NE(waitFor("unpublished station#1"), "");
  EXPECT_NE(waitFor("published other#2"), "");
}

TEST_F(APublisher, MayBePartOfTwoConfigurations) {
  const auto first = freeAddress();
  const auto second = freeAddress();
  framework.update("a", Configuration(1).publisher("station").bind(first));
  framework.update("b", Configuration(5).publisher("station").bind(second));
  ASSERT_NE(waitFor("published station#1"), "");
  ASSERT_NE(waitFor("published station#5"), "");
  framework.remove("b");
  ASSERT_NE(waitFor("unpublished station#5"), "");
  framework.update("a", Configuration(2).publisher("station").bind(first));
  EXPECT_NE(waitFor("stillBound station#2 " + first), "");
}

TEST_F(APublisher, UsesLocalSockets) {
  std::string folder = (std::filesystem::temp_directory_path() / "spf-ipc-XXXXXX").native();
  ASSERT_NE(mkdtemp(folder.data()), nullptr);
  const auto address = "ipc://" + folder + "/station";
  publish("server", Configuration(1).publisher("station").bind(address), "station#1");
  framework.update("client", Configuration(1).publisher("display").connect(address));
  EXPECT_NE(waitFor("connected display#1"), "");
  framework.update("thief", Configuration(1).publisher("thief").bind(address));
  EXPECT_THAT(waitFor("error thief#1"), HasSubstr("in use"));
  framework.remove("server");
  EXPECT_NE(waitFor("unpublished station#1"), "");
  std::filesystem::remove_all(folder);
}

TEST_F(APublisher, UsesSocketsInsideTheProcess) {
  publish("server", Configuration(1).publisher("station").bind("inproc://station"), "station#1");
  framework.update("client", Configuration(1).publisher("display").connect("inproc://station"));
  EXPECT_NE(waitFor("connected display#1 inproc://station"), "");
  framework.remove("server");
  EXPECT_NE(waitFor("unpublished station#1"), "");
  publish("next", Configuration(1).publisher("next").bind("inproc://station"), "next#1");
}

TEST_F(APublisher, UnbindsAWildcardAddress) {
  publish("weather", Configuration(1).publisher("station").bind("tcp://127.0.0.1:*"), "station#1");
  EXPECT_NE(waitFor("bound station#1 tcp://127.0.0.1:*"), "");
  framework.remove("weather");
  EXPECT_NE(waitFor("unpublished station#1"), "");
}

TEST_F(APublisher, TreatsAnEndpointThatIsConfiguredTwiceAsOne) {
  const auto address = freeAddress();
  publish("weather", Configuration(1).publisher("station").bind(address).bind(address), "station#1");
  EXPECT_EQ(framework.events().linesWith("bound").size(), 1u);
}

class AnEndpointThatItsTransportCloses : public testing::Test {
 protected:
  std::string waitFor(const std::string& line) { return framework.events().waitFor(line); }

  cppmicroservices::ServiceRegistration<Transport> offer(const std::shared_ptr<Transport>& offered, int ranking) {
    return framework.context().RegisterService<Transport>(
        offered, {{cppmicroservices::Constants::SERVICE_RANKING, Any(ranking)}});
  }

  /// Waits until all earlier reports to the publishers have been handled.
  void settle() {
    framework.update("settled", Configuration(1).publisher("settled"));
    ASSERT_NE(waitFor("published settled#1"), "");
  }

  RunningFramework framework{AnyMap(
      AnyMap::ORDERED_MAP, {{"both", std::vector<Any>{std::string("tcp://one:1"), std::string("tcp://two:2")}}})};
  const std::shared_ptr<FakeTransport> transport = std::make_shared<FakeTransport>();
  const cppmicroservices::ServiceRegistration<Transport> registration = offer(transport, 1);
};

TEST_F(AnEndpointThatItsTransportCloses, IsBoundAgain) {
  framework.update("weather", Configuration(1).publisher("station").bind("tcp://a:1"));
  transport->endpoint(1).opened("tcp://a:1");
  ASSERT_NE(waitFor("published station#1"), "");
  transport->endpoint(1).closed();
  transport->endpoint(2).opened("tcp://a:1");
  settle();
  EXPECT_THAT(framework.events().lines(), ElementsAre("bound station#1 tcp://a:1", "published station#1",
                                                      "bound station#1 tcp://a:1", "published settled#1"));
}

TEST_F(AnEndpointThatItsTransportCloses, IsConnectedAgainAndReportedOnceForEachRevision) {
  framework.update("client", Configuration(1).publisher("display").connect("tcp://a:1"));
  transport->endpoint(1).opened("tcp://a:1");
  ASSERT_NE(waitFor("connected display#1"), "");
  transport->endpoint(1).closed();
  transport->endpoint(2).opened("tcp://a:1");
  settle();
  EXPECT_EQ(framework.events().linesWith("connected").size(), 1u);
  framework.update("client", Configuration(2).publisher("display").connect("tcp://a:1"));
  EXPECT_NE(waitFor("stillConnected display#2"), "");
}

TEST_F(AnEndpointThatItsTransportCloses, IsPublishedOnceItIsBoundAgain) {
  framework.update("weather", Configuration(1).publisher("station").bind("tcp://a:1"));
  transport->endpoint(1).closed();
  transport->endpoint(2).opened("tcp://a:1");
  EXPECT_NE(waitFor("published station#1"), "");
}

TEST_F(AnEndpointThatItsTransportCloses, IsAnErrorIfItCannotBeReopened) {
  framework.update("weather", Configuration(1).publisher("station").bind("tcp://a:1"));
  transport->endpoint(1).opened("tcp://a:1");
  transport->endpoint(1).closed();
  transport->endpoint(2).failed(std::make_exception_ptr(std::runtime_error("a:1 is taken")));
  EXPECT_THAT(waitFor("error station#1"), HasSubstr("a:1 is taken"));
}

TEST_F(AnEndpointThatItsTransportCloses, IsAnErrorIfItIsClosedAgain) {
  framework.update("weather", Configuration(1).publisher("station").bind("tcp://a:1"));
  transport->endpoint(1).opened("tcp://a:1");
  transport->endpoint(1).closed();
  transport->endpoint(2).opened("tcp://a:1");
  transport->endpoint(2).closed();
  EXPECT_THAT(waitFor("error station#1"), HasSubstr("'tcp://a:1'"));
  settle();
  EXPECT_EQ(transport->addresses().size(), 2u);
}

TEST_F(AnEndpointThatItsTransportCloses, IsReopenedOnceInEachRevision) {
  for (int count = 1; count <= 3; ++count) {
    framework.update("weather", Configuration(count).publisher("station").bind("tcp://a:1"));
    transport->endpoint(count).opened("tcp://a:1");
    ASSERT_NE(waitFor("published station#" + std::to_string(count)), "");
    transport->endpoint(count).closed();
    transport->endpoint(count + 1).opened("tcp://a:1");
  }
  settle();
  EXPECT_THAT(framework.events().linesWith("error"), IsEmpty());
}

TEST_F(AnEndpointThatItsTransportCloses, IsReopenedByAReplacingTransport) {
  framework.update("weather", Configuration(1).publisher("station").bind("tcp://a:1"));
  transport->endpoint(1).closed();
  transport->endpoint(2).opened("tcp://a:1");
  ASSERT_NE(waitFor("published station#1"), "");
  const auto other = std::make_shared<FakeTransport>();
  const auto otherRegistration = offer(other, 2);
  transport->endpoint(2).closed();
  other->endpoint(1).closed();
  other->endpoint(2).opened("tcp://a:1");
  settle();
  EXPECT_THAT(framework.events().linesWith("error"), IsEmpty());
}

TEST_F(AnEndpointThatItsTransportCloses, LeavesTheOtherAddressesOfItsNameOpen) {
  framework.update("weather", Configuration(1).publisher("station", legacy).bind("both"));
  transport->endpoint(1).opened("tcp://a:1");
  transport->endpoint(2).opened("tcp://a:1");
  ASSERT_NE(waitFor("published station#1"), "");
  transport->endpoint(2).closed();
  transport->endpoint(3).opened("tcp://a:1");
  EXPECT_TRUE(framework.events().waitFor("bound station#1 both", 2));
  EXPECT_THAT(transport->addresses(), ElementsAre("tcp://one:1", "tcp://two:2", "tcp://two:2"));
}

TEST(ALegacyPublisher, ResolvesDiscoveryNames) {
  const auto address = freeAddress();
  RunningFramework framework(AnyMap(AnyMap::ORDERED_MAP, {{"station", address}}));
  framework.update("server", Configuration(1).publisher("server", legacy).bind("station"));
  framework.update("client", Configuration(1).publisher("client", legacy).connect("station"));
  EXPECT_EQ(framework.events().waitFor("bound server#1"), "bound server#1 station");
  EXPECT_EQ(framework.events().waitFor("connected client#1"), "connected client#1 station");
}

class APublisherOfEitherKind : public testing::TestWithParam<const char*> {};

INSTANTIATE_TEST_SUITE_P(Of, APublisherOfEitherKind, testing::Values(rpc, legacy),
                         [](const auto& kind) { return std::string(kind.param); });

TEST_P(APublisherOfEitherKind, WaitsForAnUnknownNameToConnectToWithoutAnError) {
  RunningFramework framework;
  framework.update("client", Configuration(2).publisher("client", GetParam()).connect("no-body.1_a"));
  EXPECT_NE(framework.events().waitFor("published client#2"), "");
  EXPECT_THAT(framework.events().lines(), ElementsAre("published client#2"));
}

TEST_P(APublisherOfEitherKind, WaitsForAnUnknownNameToBindToWithoutAnError) {
  RunningFramework framework;
  framework.update("server", Configuration(1).publisher("server", GetParam()).bind("nobody"));
  framework.update("marker", Configuration(1).publisher("marker"));
  ASSERT_NE(framework.events().waitFor("published marker#1"), "");
  EXPECT_THAT(framework.events().lines(), ElementsAre("published marker#1"));
  framework.remove("server");
  EXPECT_NE(framework.events().waitFor("unpublished server#1"), "");
}

TEST(AnRpcPublisher, AcceptsADiscoveryName) {
  const auto address = freeAddress();
  RunningFramework framework(AnyMap(AnyMap::ORDERED_MAP, {{"station", address}}));
  framework.update("server", Configuration(1).publisher("server").bind("station"));
  framework.update("client", Configuration(1).publisher("client").connect(address));
  EXPECT_NE(framework.events().waitFor("bound server#1 station"), "");
  EXPECT_NE(framework.events().waitFor("connected client#1"), "");
}

TEST(AnRpcPublisher, NamesAddressAndDiscoveryNameWhenItCannotBind) {
  const TakenPort taken;
  RunningFramework framework(AnyMap(AnyMap::ORDERED_MAP, {{"station", taken.address()}}));
  framework.update("server", Configuration(1).publisher("server").bind("station"));
  EXPECT_THAT(framework.events().waitFor("error server#1"), AllOf(HasSubstr(taken.address()), HasSubstr("'station'")));
}

}  // namespace
