#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/Constants.h>
#include <gmock/gmock.h>
#include "support/FakeDiscovery.hpp"
#include "support/FakeTransport.hpp"
#include "support/OwnKey.hpp"
#include "support/RecordedWarnings.hpp"
#include "support/RunningFramework.hpp"
#include "support/StatusWatch.hpp"

namespace agent::spf::frameworkinterfaces {

bool operator==(const EndpointDescription& left, const EndpointDescription& right) {
  return left.owner == right.owner && left.name == right.name && left.address == right.address && left.key == right.key;
}

void PrintTo(const EndpointDescription& description, std::ostream* out) {
  *out << description.owner << " " << description.name << " at " << description.address << " key '" << description.key
       << "'";
}

}  // namespace agent::spf::frameworkinterfaces

namespace {

using agent::spf::frameworkinterfaces::Discovery;
using agent::spf::frameworkinterfaces::DiscoveryListener;
using agent::spf::frameworkinterfaces::EndpointDescription;
using agent::spf::frameworkinterfaces::EndpointState;
using agent::spf::frameworkinterfaces::EndpointStatus;
using agent::spf::frameworkinterfaces::Transport;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using frameworktest::Configuration;
using frameworktest::FakeDiscovery;
using frameworktest::FakeTransport;
using frameworktest::OwnKey;
using frameworktest::RecordedWarnings;
using frameworktest::RunningFramework;
using frameworktest::StatusWatch;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using Phase = EndpointState::Phase;

constexpr auto expectedName =
    "is no name of a key; expected 1 to 64 letters, digits, '.', '_' and '-', and no '.' at "
    "the beginning";

Any text(const std::string& value) {
  return value;
}

AnyMap table() {
  return AnyMap(AnyMap::ORDERED_MAP, {{"station", text("tcp://a:1#alice")},
                                      {"both", std::vector<Any>{text("tcp://a:1#alice"), text("tcp://a:1#bob"),
                                                                text("tcp://a:1#alice"), text("tcp://a:1")}},
                                      {"malformed", std::vector<Any>{text("tcp://a:1#alice"), text("tcp://a:2#a b")}},
                                      {"path", text("ipc:///tmp/x#alice")},
                                      {"plain", text("tcp://a:9")}});
}

/// Publishers of a process that has a key, with a transport and a discovery of the test.
class TheNameOfAKey : public testing::Test {
 protected:
  template <class Service>
  cppmicroservices::ServiceRegistration<Service> offer(const std::shared_ptr<Service>& offered) {
    return framework.context().RegisterService<Service>(offered, {{cppmicroservices::Constants::SERVICE_RANKING, 1}});
  }

  /// Lets the test's discovery take over from the table.
  void useDiscovery() { discoveryRegistration = offer<Discovery>(discovery); }

  void report() { framework.service<DiscoveryListener>()->discoveryChanged(); }

  void connect(const std::vector<std::string>& endpoints, int count = 1) {
    Configuration configuration(count);
    configuration.publisher("display");
    for (const auto& endpoint : endpoints) {
      configuration.connect(endpoint);
    }
    framework.update("client", configuration);
  }

  void bind(const std::string& endpoint, int count = 1) {
    framework.update("server", Configuration(count).publisher("server").bind(endpoint));
  }

  /// Waits until all earlier reports to the publishers have been handled.
  void settle() {
    const auto id = "settled" + std::to_string(++settled);
    framework.update(id, Configuration(1).publisher(id));
    ASSERT_NE(framework.events().waitFor("published " + id), "");
  }

  /// Waits until everything is opened.
  std::vector<EndpointDescription> opened() {
    settle();
    return transport->descriptions();
  }

  const OwnKey key{"own"};
  RunningFramework framework{table(), key.properties()};
  const std::shared_ptr<FakeTransport> transport = std::make_shared<FakeTransport>();
  const cppmicroservices::ServiceRegistration<Transport> registration = offer<Transport>(transport);
  const std::shared_ptr<FakeDiscovery> discovery = std::make_shared<FakeDiscovery>();
  cppmicroservices::ServiceRegistration<Discovery> discoveryRegistration;
  StatusWatch status{framework.service<EndpointStatus>()};
  int settled = 0;
};

TEST_F(TheNameOfAKey, OfAnAddressIsGivenToTheTransportApart) {
  connect({"tcp://a:1#alice"});
  EXPECT_THAT(opened(), ElementsAre(EndpointDescription{"display", "tcp://a:1#alice", "tcp://a:1", "alice"}));
  transport->endpoint(1).opened("tcp://a:1");
  EXPECT_NE(framework.events().waitFor("connected display#1 tcp://a:1#alice"), "");
  const EndpointState state = status.waitFor("display", Phase::up);
  EXPECT_EQ(state.endpoint, "tcp://a:1#alice");
  EXPECT_EQ(state.address, "tcp://a:1");
}

TEST_F(TheNameOfAKey, IsNotWantedByAnyScheme) {
  connect({"tcp://a:1", "ipc:///tmp/x#alice", "inproc://x#"});
  EXPECT_THAT(opened(), ElementsAre(EndpointDescription{"display", "tcp://a:1", "tcp://a:1", ""},
                                    EndpointDescription{"display", "ipc:///tmp/x#alice", "ipc:///tmp/x#alice", ""},
                                    EndpointDescription{"display", "inproc://x#", "inproc://x#", ""}));
}

TEST_F(TheNameOfAKey, ThatIsMalformedMakesTheEndpointMalformed) {
  int count = 0;
  for (const std::string name : {"", ".alice", "a b", "a#b", "a/b"}) {
    const auto endpoint = "tcp://a:1#" + name;
    connect({endpoint}, ++count);
    const auto reason = "malformed endpoint '" + endpoint + "': '" + name + "' " + expectedName;
    EXPECT_THAT(framework.events().waitFor("error display#" + std::to_string(count)), HasSubstr(reason));
    EXPECT_EQ(status.waitFor("display", Phase::refused, reason).endpoint, endpoint);
  }
  EXPECT_THAT(opened(), IsEmpty());
}

TEST_F(TheNameOfAKey, IsForConnectionsOnly) {
  int count = 0;
  for (const std::string endpoint : {"tcp://a:1#alice", "tcp://*:*#own", "tcp://a:1#", "tcp://a:1#a b"}) {
    bind(endpoint, ++count);
    const auto reason = "malformed endpoint '" + endpoint +
                        "': a name of a key is for connections only; expected 'tcp://<host>:<port>' to bind to";
    EXPECT_THAT(framework.events().waitFor("error server#" + std::to_string(count)), HasSubstr(reason));
    EXPECT_EQ(status.waitFor("server", Phase::refused, reason).endpoint, endpoint);
  }
  EXPECT_THAT(opened(), IsEmpty());
  bind("ipc:///tmp/x#alice", ++count);
  EXPECT_THAT(opened(), ElementsAre(EndpointDescription{"server", "ipc:///tmp/x#alice", "ipc:///tmp/x#alice", ""}));
}

TEST_F(TheNameOfAKey, DistinguishesEndpointsAtOneAddress) {
  connect({"tcp://a:1#alice", "tcp://a:1#bob", "tcp://a:1", "tcp://a:1#alice"});
  EXPECT_THAT(opened(), ElementsAre(EndpointDescription{"display", "tcp://a:1#alice", "tcp://a:1", "alice"},
                                    EndpointDescription{"display", "tcp://a:1#bob", "tcp://a:1", "bob"},
                                    EndpointDescription{"display", "tcp://a:1", "tcp://a:1", ""}));
}

TEST_F(TheNameOfAKey, IsUsedAgainIfTheTransportClosesTheEndpoint) {
  connect({"tcp://a:1#alice"});
  transport->endpoint(1).opened("tcp://a:1");
  transport->endpoint(1).closed();
  EXPECT_TRUE(status.waitForAll("display", [this](const auto&) { return transport->descriptions().size() == 2; }));
  EXPECT_EQ(opened().at(1), (EndpointDescription{"display", "tcp://a:1#alice", "tcp://a:1", "alice"}));
}

TEST_F(TheNameOfAKey, ThatIsReplacedByAnotherRevisionClosesTheFormerSocket) {
  connect({"tcp://a:1#alice"});
  EXPECT_THAT(opened(), SizeIs(1));
  connect({"tcp://a:1#bob"}, 2);
  ASSERT_NE(framework.events().waitFor("published display#2"), "");
  EXPECT_EQ(opened().at(1), (EndpointDescription{"display", "tcp://a:1#bob", "tcp://a:1", "bob"}));
  EXPECT_THAT(transport->closed(), ElementsAre(1u));
}

TEST_F(TheNameOfAKey, MayBeInTheTable) {
  connect({"station", "path", "plain"});
  EXPECT_THAT(opened(), ElementsAre(EndpointDescription{"display", "station", "tcp://a:1", "alice"},
                                    EndpointDescription{"display", "path", "ipc:///tmp/x#alice", ""},
                                    EndpointDescription{"display", "plain", "tcp://a:9", ""}));
}

TEST_F(TheNameOfAKey, DistinguishesEntriesOfTheTable) {
  using Address = FakeDiscovery::Address;
  EXPECT_THAT(
      framework.service<Discovery>()->addressesOf("both"),
      ElementsAre(Address{"tcp://a:1", "alice", ""}, Address{"tcp://a:1", "bob", ""}, Address{"tcp://a:1", "", ""}));
  connect({"both"});
  EXPECT_THAT(opened(), ElementsAre(EndpointDescription{"display", "both", "tcp://a:1", "alice"},
                                    EndpointDescription{"display", "both", "tcp://a:1", "bob"},
                                    EndpointDescription{"display", "both", "tcp://a:1", ""}));
}

TEST_F(TheNameOfAKey, ThatIsMalformedInTheTableIsAnErrorOfTheEndpoint) {
  connect({"malformed"});
  const std::string reason = std::string("malformed endpoint 'tcp://a:2#a b': 'a b' ") + expectedName;
  EXPECT_THAT(framework.events().waitFor("error display#1"), HasSubstr(reason));
  EXPECT_EQ(status.waitFor("display", Phase::refused, reason).endpoint, "malformed");
  EXPECT_THAT(opened(), IsEmpty());
  connect({"station"}, 2);
  ASSERT_NE(framework.events().waitFor("published display#2"), "");
  EXPECT_THAT(opened(), ElementsAre(EndpointDescription{"display", "station", "tcp://a:1", "alice"}));
}

TEST_F(TheNameOfAKey, OfAFixedEntryMayBeInTheAddressThatAnyDiscoveryGives) {
  discovery->set("gauge", {{"tcp://a:1#alice", "", ""}, {"tcp://a:2", "bob", ""}, {"tcp://a:1", "alice", ""}});
  useDiscovery();
  connect({"gauge"});
  EXPECT_THAT(opened(), ElementsAre(EndpointDescription{"display", "gauge", "tcp://a:1", "alice"},
                                    EndpointDescription{"display", "gauge", "tcp://a:2", "bob"}));
}

TEST_F(TheNameOfAKey, ThatBecomesMalformedEndsTheEndpointUntilTheNextRevision) {
  discovery->set("gauge", {{"tcp://a:1#alice", "", ""}});
  useDiscovery();
  connect({"gauge", "tcp://b:1#bob"});
  EXPECT_THAT(opened(), SizeIs(2));
  transport->endpoint(1).opened("tcp://a:1");
  discovery->set("gauge", {{"tcp://a:1#.alice", "", ""}});
  report();
  EXPECT_THAT(framework.events().waitFor("error display#1"), HasSubstr("'tcp://a:1#.alice'"));
  settle();
  EXPECT_THAT(transport->closed(), ElementsAre(1u));
  discovery->set("gauge", {{"tcp://a:1#carol", "", ""}});
  report();
  EXPECT_THAT(opened(), SizeIs(2));
  connect({"gauge", "tcp://b:1#bob"}, 2);
  ASSERT_NE(framework.events().waitFor("published display#2"), "");
  EXPECT_EQ(opened().at(2), (EndpointDescription{"display", "gauge", "tcp://a:1", "carol"}));
}

TEST_F(TheNameOfAKey, ThatIsAnnouncedIsThatOfTheAnnouncement) {
  discovery->set("gauge", {{"tcp://a:1", "alice", "elsewhere-1"}, {"tcp://a:1", "bob", "elsewhere-2"}});
  useDiscovery();
  connect({"gauge"});
  EXPECT_THAT(opened(), ElementsAre(EndpointDescription{"display", "gauge", "tcp://a:1", "alice"},
                                    EndpointDescription{"display", "gauge", "tcp://a:1", "bob"}));
}

TEST_F(TheNameOfAKey, IsNoPartOfAnAnnouncedAddress) {
  discovery->set("gauge", {{"tcp://a:1#alice", "bob", "elsewhere-1"}, {"tcp://a:2#carol", "", "elsewhere-2"}});
  useDiscovery();
  connect({"gauge"});
  EXPECT_THAT(opened(), ElementsAre(EndpointDescription{"display", "gauge", "tcp://a:1#alice", "bob"},
                                    EndpointDescription{"display", "gauge", "tcp://a:2#carol", ""}));
}

TEST_F(TheNameOfAKey, ThatIsAnnouncedTwiceWithOneAddressLeadsToOneSocket) {
  discovery->set("gauge", {{"tcp://a:1", "alice", "elsewhere-1"}, {"tcp://a:1", "alice", "elsewhere-2"}});
  useDiscovery();
  connect({"gauge"});
  EXPECT_THAT(opened(), ElementsAre(EndpointDescription{"display", "gauge", "tcp://a:1", "alice"}));
}

TEST_F(TheNameOfAKey, ThatAnAddressIsAnnouncedWithAnewReplacesTheSocket) {
  discovery->set("gauge", {{"tcp://a:1", "alice", "elsewhere-1"}});
  useDiscovery();
  connect({"gauge"});
  EXPECT_THAT(opened(), SizeIs(1));
  discovery->set("gauge", {{"tcp://a:1", "bob", "elsewhere-2"}});
  report();
  EXPECT_EQ(opened().at(1), (EndpointDescription{"display", "gauge", "tcp://a:1", "bob"}));
  EXPECT_THAT(transport->closed(), ElementsAre(1u));
}

TEST_F(TheNameOfAKey, OfAnotherProcessIsAnErrorWhereItsEntryIsBound) {
  bind("station");
  const std::string reason =
      "cannot bind endpoint 'station' to 'tcp://a:1#alice': a name of a key is for connections only, unless it is this "
      "process's";
  EXPECT_THAT(framework.events().waitFor("error server#1"), HasSubstr(reason));
  EXPECT_EQ(status.waitFor("server", Phase::refused, reason).endpoint, "station");
  EXPECT_THAT(opened(), IsEmpty());
}

TEST_F(TheNameOfAKey, OfThisProcessMayBeInTheEntryThatItBinds) {
  discovery->set("gauge", {{"tcp://a:1#own", "", ""}, {"tcp://a:2", "own", ""}, {"tcp://a:3", "bob", "elsewhere-1"}});
  useDiscovery();
  bind("gauge");
  EXPECT_THAT(opened(), ElementsAre(EndpointDescription{"server", "gauge", "tcp://a:1", ""},
                                    EndpointDescription{"server", "gauge", "tcp://a:2", ""}));
}

TEST_F(TheNameOfAKey, OfThisProcessIsAnnouncedWithItsEndpoints) {
  useDiscovery();
  framework.update("weather", Configuration(1).publisher("station").bind("tcp://127.0.0.1:1").bind("ipc:///tmp/x"));
  transport->endpoint(1).opened("tcp://127.0.0.1:4711");
  transport->endpoint(2).opened("ipc:///tmp/x");
  EXPECT_THAT(discovery->waitFor(1), ElementsAre("station tcp://127.0.0.1:4711 weather key own"));
  settle();
  EXPECT_EQ(discovery->calls(), 1);
}

TEST_F(TheNameOfAKey, OfThisProcessArrivesAtPublishersOfTheSameProcess) {
  framework.update("weather", Configuration(1).publisher("server").bind("tcp://127.0.0.1:1"));
  transport->endpoint(1).opened("tcp://127.0.0.1:4711");
  ASSERT_NE(framework.events().waitFor("published server#1"), "");
  connect({"server"});
  transport->endpoint(2);
  EXPECT_EQ(opened().at(1), (EndpointDescription{"display", "server", "tcp://127.0.0.1:4711", "own"}));
}

TEST_F(TheNameOfAKey, ThatTheTransportCannotUseIsNamedWithTheReason) {
  RecordedWarnings warnings;
  discovery->set("gauge", {{"tcp://a:1", "alice", "elsewhere-1"}});
  useDiscovery();
  connect({"gauge"});
  transport->endpoint(1).failed(std::make_exception_ptr(std::runtime_error("this process has no key")));
  status.waitFor("display", [](const EndpointState& state) { return state.reason == "this process has no key"; });
  EXPECT_THAT(warnings.waitFor("this process has no key"), HasSubstr("'display'"));
  settle();
  EXPECT_THAT(framework.events().linesWith("error"), IsEmpty());
}

TEST(AProcessWithoutAKey, AnnouncesNone) {
  RunningFramework framework;
  const auto discovery = std::make_shared<FakeDiscovery>();
  const auto registration =
      framework.context().RegisterService<Discovery>(discovery, {{cppmicroservices::Constants::SERVICE_RANKING, 1}});
  framework.update("weather", Configuration(1).publisher("station").bind("tcp://127.0.0.1:*"));
  EXPECT_THAT(discovery->waitFor(1), ElementsAre(testing::EndsWith(" weather")));
}

TEST(AProcessWithoutAKey, BindsNoEntryWithTheNameOfAKey) {
  RunningFramework framework(table());
  framework.update("server", Configuration(1).publisher("server").bind("station"));
  EXPECT_THAT(framework.events().waitFor("error server#1"),
              AllOf(HasSubstr("'tcp://a:1#alice'"), HasSubstr("for connections only")));
}

}  // namespace
