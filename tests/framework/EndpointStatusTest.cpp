#include <algorithm>
#include <atomic>
#include <filesystem>
#include <system_error>
#include <thread>

#include <arpa/inet.h>
#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/Constants.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>
#include "agent/spf/frameworkinterfaces/Discovery.hpp"
#include "agent/spf/frameworkinterfaces/EndpointStatus.hpp"
#include "support/RunningFramework.hpp"
#include "support/StatusWatch.hpp"

namespace {

using agent::spf::frameworkinterfaces::AnnouncedEndpoint;
using agent::spf::frameworkinterfaces::Announcement;
using agent::spf::frameworkinterfaces::DiscoveredAddress;
using agent::spf::frameworkinterfaces::Discovery;
using agent::spf::frameworkinterfaces::EndpointState;
using agent::spf::frameworkinterfaces::EndpointStatus;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using frameworktest::Configuration;
using frameworktest::freeAddress;
using frameworktest::RunningFramework;
using frameworktest::StatusWatch;
using frameworktest::TakenPort;
using spf::test::Counter;
using spf::test::Gate;
using std::chrono::steady_clock;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using Phase = EndpointState::Phase;
using Direction = EndpointState::Direction;

class AnEndpointsStatus : public testing::Test {
 protected:
  void publish(const std::string& id, const Configuration& configuration, const std::string& origin) {
    framework.update(id, configuration);
    ASSERT_NE(framework.events().waitFor("published " + origin), "");
  }

  RunningFramework framework{AnyMap(
      AnyMap::ORDERED_MAP, {{"both", std::vector<Any>{std::string("inproc://one"), std::string("inproc://two")}}})};
  const std::shared_ptr<EndpointStatus> status = framework.service<EndpointStatus>();
  StatusWatch sut{status};
};

TEST_F(AnEndpointsStatus, IsUpOnceItIsBound) {
  const auto address = freeAddress();
  const auto before = steady_clock::now();
  framework.update("weather", Configuration(7).publisher("station").bind(address));
  const EndpointState state = sut.waitFor("station", Phase::up);
  EXPECT_EQ(state.servicePublisherID, "station");
  EXPECT_EQ(state.modificationCount, 7u);
  EXPECT_EQ(state.direction, Direction::bind);
  EXPECT_EQ(state.endpoint, address);
  EXPECT_EQ(state.phase, Phase::up);
  EXPECT_EQ(state.address, address);
  EXPECT_EQ(state.tries, 1u);
  EXPECT_EQ(state.reason, "");
  EXPECT_GE(state.since, before);
  EXPECT_LE(state.since, steady_clock::now());
}

TEST_F(AnEndpointsStatus, ContainsThePortThatAWildcardHasGot) {
  framework.update("weather", Configuration(1).publisher("station").bind("tcp://127.0.0.1:*"));
  const EndpointState bound = sut.waitFor("station", Phase::up);
  EXPECT_THAT(bound.address, testing::MatchesRegex("tcp://127\\.0\\.0\\.1:[0-9]+"));
  EXPECT_NE(bound.address, "tcp://127.0.0.1:0");
  framework.update("client", Configuration(1).publisher("display").connect(bound.address));
  EXPECT_EQ(sut.waitFor("display", Phase::up).address, bound.address);
}

TEST_F(AnEndpointsStatus, ContainsThePathThatAWildcardHasGot) {
  framework.update("weather", Configuration(1).publisher("station").bind("ipc://*"));
  const EndpointState bound = sut.waitFor("station", Phase::up);
  EXPECT_THAT(bound.address, testing::MatchesRegex("ipc://[^*]+"));
  framework.update("client", Configuration(1).publisher("display").connect(bound.address));
  EXPECT_EQ(sut.waitFor("display", Phase::up).address, bound.address);
}

TEST_F(AnEndpointsStatus, IsInTheOrderOfTheConfiguration) {
  const auto first = freeAddress();
  const auto second = freeAddress();
  publish("weather",
          Configuration(1).publisher("station").connect("inproc://b").connect("inproc://a").bind(second).bind(first),
          "station#1");
  const auto endpoints = [this] {
    std::vector<std::string> names;
    for (const EndpointState& state : sut.of("station")) {
      names.push_back((state.direction == Direction::bind ? "bind " : "connect ") + state.endpoint);
    }
    return names;
  };
  EXPECT_THAT(endpoints(), ElementsAre("bind " + second, "bind " + first, "connect inproc://b", "connect inproc://a"));
  publish("weather", Configuration(2).publisher("station").connect("inproc://a").bind(first).bind(second), "station#2");
  EXPECT_THAT(endpoints(), ElementsAre("bind " + first, "bind " + second, "connect inproc://a"));
}

TEST_F(AnEndpointsStatus, KeepsItsTimeInANewRevision) {
  const auto address = freeAddress();
  publish("weather", Configuration(1).publisher("station").bind(address), "station#1");
  const EndpointState before = sut.waitFor("station", Phase::up);
  publish("weather", Configuration(2).publisher("station").bind(address), "station#2");
  const EndpointState after = sut.waitFor("station", Phase::up);
  EXPECT_EQ(after.modificationCount, 2u);
  EXPECT_EQ(after.since, before.since);
}

TEST_F(AnEndpointsStatus, EndsWithTheEndpointAndThePublisher) {
  const auto address = freeAddress();
  publish("weather", Configuration(1).publisher("station").bind(address).bind(freeAddress()), "station#1");
  EXPECT_THAT(sut.of("station"), SizeIs(2));
  publish("weather", Configuration(2).publisher("station").bind(address), "station#2");
  EXPECT_THAT(sut.of("station"), SizeIs(1));
  framework.remove("weather");
  ASSERT_NE(framework.events().waitFor("unpublished station#2"), "");
  EXPECT_THAT(status->list(), IsEmpty());
}

/// The record that is found at each event.
struct Sightings {
  Counter events;
  std::mutex mutex;
  std::vector<std::string> seen;  // guarded by the mutex
};

TEST_F(AnEndpointsStatus, ContainsWhatAnEventReportsBeforeTheEvent) {
  const auto sightings = std::make_shared<Sightings>();
  framework.events().onEvent = [sightings, status = status](const std::string& line) {
    const auto states = status->list();
    const std::lock_guard<std::mutex> lock(sightings->mutex);
    sightings->seen.push_back(line.substr(0, line.find(' ')) + (states.empty() ? "" : " " + phaseOf(states.front())));
    sightings->events.add();
  };
  framework.update("weather", Configuration(1).publisher("station").bind("inproc://station"));
  ASSERT_TRUE(sightings->events.waitFor(2));
  framework.update("weather", Configuration(2).publisher("station").bind("tcp://nowhere"));
  ASSERT_TRUE(sightings->events.waitFor(3));
  framework.remove("weather");
  ASSERT_TRUE(sightings->events.waitFor(4));
  const std::lock_guard<std::mutex> lock(sightings->mutex);
  EXPECT_THAT(sightings->seen, ElementsAre("bound up", "published up", "error refused", "unpublished"));
}

TEST_F(AnEndpointsStatus, IsRefusedForTheReasonOfTheError) {
  const TakenPort taken;
  framework.update("weather", Configuration(1).publisher("station").bind(taken.address()));
  const std::string error = framework.events().waitFor("error station#1");
  const EndpointState state = sut.of("station").at(0);
  EXPECT_EQ(state.phase, Phase::refused);
  EXPECT_EQ(state.address, taken.address());
  EXPECT_EQ(state.tries, 1u);
  EXPECT_THAT(state.reason, AllOf(HasSubstr(taken.address()), HasSubstr("in use")));
  EXPECT_THAT(error, HasSubstr(state.reason));
}

TEST_F(AnEndpointsStatus, IsRefusedForAValueThatIsNoText) {
  framework.update("weather", Configuration(1).publisher("station").bind(Any(42)));
  ASSERT_NE(framework.events().waitFor("error station#1"), "");
  const EndpointState state = sut.of("station").at(0);
  EXPECT_EQ(state.phase, Phase::refused);
  EXPECT_EQ(state.endpoint, "42");
  EXPECT_EQ(state.address, "");
  EXPECT_EQ(state.tries, 0u);
  EXPECT_THAT(state.reason, HasSubstr("no text"));
}

TEST_F(AnEndpointsStatus, IsNoLongerRefusedAfterAValidRevision) {
  framework.update("weather", Configuration(1).publisher("station").bind("tcp://nowhere"));
  ASSERT_NE(framework.events().waitFor("error station#1"), "");
  EXPECT_EQ(sut.of("station").at(0).phase, Phase::refused);
  const auto address = freeAddress();
  publish("weather", Configuration(2).publisher("station").bind(address), "station#2");
  EXPECT_EQ(sut.of("station").at(0).phase, Phase::up);
  EXPECT_EQ(sut.of("station").at(0).endpoint, address);
}

TEST_F(AnEndpointsStatus, NamesTheMissingTransport) {
  framework.bundle("spf_zeromq_transport").Stop();
  const auto address = freeAddress();
  framework.update("weather", Configuration(1).publisher("station").bind(address));
  const EndpointState state = sut.waitFor("station", Phase::opening, "no transport is registered");
  EXPECT_EQ(state.address, address);
  EXPECT_EQ(state.tries, 0u);
  framework.bundle("spf_zeromq_transport").Start();
  EXPECT_EQ(sut.waitFor("station", Phase::up).reason, "");
}

TEST_F(AnEndpointsStatus, IsLostWithItsTransport) {
  const auto address = freeAddress();
  framework.update("weather", Configuration(1).publisher("station").bind(address));
  const EndpointState up = sut.waitFor("station", Phase::up);
  framework.bundle("spf_zeromq_transport").Stop();
  const EndpointState lost = sut.waitFor("station", Phase::lost, "no transport is registered");
  EXPECT_EQ(lost.address, address);
  EXPECT_GE(lost.since, up.since);
  framework.bundle("spf_zeromq_transport").Start();
  EXPECT_EQ(sut.waitFor("station", Phase::up).tries, 1u);
}

TEST_F(AnEndpointsStatus, HasARecordForEachAddressOfAName) {
  framework.update("client", Configuration(1).publisher("display").connect("both"));
  publish("two", Configuration(1).publisher("two").bind("inproc://two"), "two#1");
  ASSERT_TRUE(sut.waitForAll("display", [](const std::vector<EndpointState>& states) {
    return states.size() == 2 && states[0].phase == Phase::opening && states[1].phase == Phase::up;
  }));
  const auto states = sut.of("display");
  EXPECT_EQ(states[0].endpoint, "both");
  EXPECT_EQ(states[0].address, "inproc://one");
  EXPECT_EQ(states[0].reason, "no endpoint of this process is bound to the name");
  EXPECT_EQ(states[1].endpoint, "both");
  EXPECT_EQ(states[1].address, "inproc://two");
}

TEST_F(AnEndpointsStatus, IsLostInsideTheProcess) {
  framework.update("client", Configuration(1).publisher("display").connect("inproc://station"));
  sut.waitFor("display", Phase::opening, "no endpoint of this process is bound to the name");
  for (int round = 1; round <= 3; ++round) {
    const auto id = "station" + std::to_string(round);
    publish("server", Configuration(1).publisher(id).bind("inproc://station"), id + "#1");
    EXPECT_EQ(sut.waitFor("display", Phase::up).tries, 1u);
    framework.remove("server");
    ASSERT_NE(framework.events().waitFor("unpublished " + id), "");
    const EndpointState lost = sut.waitFor("display", Phase::lost, "no endpoint of this process is bound to the name");
    EXPECT_EQ(lost.tries, 0u);
  }
}

TEST_F(AnEndpointsStatus, NamesAnEndpointOfThisProcessThatHoldsTheAddress) {
  const auto address = freeAddress();
  publish("weather", Configuration(1).publisher("station").bind(address), "station#1");
  Counter waits;
  const auto listener = status->addListener([&] {
    const auto states = sut.of("thief");
    if (!states.empty() && states[0].phase == Phase::opening &&
        states[0].reason == "another endpoint of this process holds the address") {
      waits.add();
    }
  });
  framework.update("thief", Configuration(1).publisher("thief").bind(address));
  EXPECT_TRUE(waits.waitFor(1));
  status->removeListener(listener);
}

TEST_F(AnEndpointsStatus, IsConsistentWhileRevisionsChange) {
  std::atomic<bool> ended{false};
  std::vector<std::thread> readers;
  for (int i = 0; i < 2; ++i) {
    readers.emplace_back([&] {
      while (!ended) {
        const auto states = status->list();
        // A revision's records change together.
        EXPECT_TRUE(states.empty() || states.size() == states.front().modificationCount) << states.size();
        for (const EndpointState& state : states) {
          EXPECT_EQ(state.modificationCount, states.front().modificationCount);
        }
      }
    });
  }
  for (int count = 1; count <= 30; ++count) {
    Configuration configuration(count);
    configuration.publisher("station");
    for (int i = 1; i <= count; ++i) {
      configuration.bind("inproc://" + std::to_string(i));
    }
    publish("weather", configuration, "station#" + std::to_string(count));
  }
  framework.remove("weather");
  EXPECT_NE(framework.events().waitFor("unpublished station#30"), "");
  ended = true;
  for (auto& reader : readers) {
    reader.join();
  }
}

/// Accepts TCP connections and closes them at once.
class ClosingServer {
 public:
  ClosingServer() {
    sockaddr_in where{};
    where.sin_family = AF_INET;
    where.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(where);
    EXPECT_EQ(bind(listener_, reinterpret_cast<const sockaddr*>(&where), size), 0);
    EXPECT_EQ(getsockname(listener_, reinterpret_cast<sockaddr*>(&where), &size), 0);
    EXPECT_EQ(listen(listener_, 10), 0);
    address_ = "tcp://127.0.0.1:" + std::to_string(ntohs(where.sin_port));
    thread_ = std::thread([this] {
      for (int peer = 0; peer >= 0;) {
        peer = accept(listener_, nullptr, nullptr);
        close(peer);
      }
    });
  }
  ~ClosingServer() {
    shutdown(listener_, SHUT_RDWR);
    thread_.join();
    close(listener_);
  }
  ClosingServer(const ClosingServer&) = delete;
  ClosingServer& operator=(const ClosingServer&) = delete;

  const std::string& address() const { return address_; }

 private:
  const int listener_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  std::string address_;
  std::thread thread_;
};

std::string textOf(int error) {
  return std::generic_category().message(error);
}

class AConnectionsStatus : public AnEndpointsStatus {};

TEST_F(AConnectionsStatus, HasTheReasonAndTheTriesUntilThePeerIsThereAndAfterItHasGone) {
  const auto address = freeAddress();
  framework.update("client", Configuration(1).publisher("display").connect(address));
  const EndpointState refused = sut.waitFor(
      "display", [](const EndpointState& state) { return state.reason == textOf(ECONNREFUSED) && state.tries >= 3; });
  EXPECT_EQ(refused.phase, Phase::opening) << toText(refused);
  EXPECT_EQ(refused.address, address);
  EXPECT_EQ(refused.direction, Direction::connect);
  for (int round = 1; round <= 2; ++round) {
    const auto id = "station" + std::to_string(round);
    publish("server", Configuration(1).publisher(id).bind(address), id + "#1");
    const EndpointState up = sut.waitFor("display", Phase::up);
    EXPECT_EQ(up.reason, "");
    EXPECT_EQ(up.address, address);
    EXPECT_GT(up.since, refused.since);
    framework.remove("server");
    ASSERT_NE(framework.events().waitFor("unpublished " + id), "");
    const EndpointState lost = sut.waitFor("display", Phase::lost, textOf(ECONNREFUSED));
    EXPECT_EQ(lost.address, address);
    EXPECT_GT(lost.since, up.since);
    const EndpointState stillLost =
        sut.waitFor("display", [&](const EndpointState& state) { return state.tries > lost.tries; });
    EXPECT_EQ(stillLost.phase, Phase::lost);
    EXPECT_EQ(stillLost.since, lost.since);
  }
  EXPECT_THAT(framework.events().linesWith("error"), IsEmpty());
}

TEST_F(AConnectionsStatus, HasTheReasonOfAPath) {
  std::string folder = (std::filesystem::temp_directory_path() / "spf-ipc-XXXXXX").native();
  ASSERT_NE(mkdtemp(folder.data()), nullptr);
  const auto address = "ipc://" + folder + "/station";
  framework.update("client", Configuration(1).publisher("display").connect(address));
  EXPECT_EQ(sut.waitFor("display", Phase::opening, textOf(ENOENT)).address, address);
  publish("server", Configuration(1).publisher("station").bind(address), "station#1");
  EXPECT_EQ(sut.waitFor("display", Phase::up).address, address);
  framework.remove("server");
  ASSERT_NE(framework.events().waitFor("unpublished station#1"), "");
  EXPECT_EQ(sut.waitFor("display", Phase::lost, textOf(ENOENT)).address, address);
  std::filesystem::remove_all(folder);
}

TEST_F(AConnectionsStatus, SaysThatThePeerCompletesNoHandshake) {
  const ClosingServer server;
  framework.update("client", Configuration(1).publisher("display").connect(server.address()));
  const EndpointState state = sut.waitFor("display", [](const EndpointState& shown) {
    return shown.reason == "no handshake with the peer so far" && shown.tries >= 3;
  });
  EXPECT_EQ(state.phase, Phase::opening) << toText(state);
}

TEST_F(AConnectionsStatus, IsRefusedForASourceOfAnotherMachine) {
  const auto address = "tcp://192.0.2.1:0;" + freeAddress().substr(6);
  framework.update("client", Configuration(1).publisher("display").connect(address));
  EXPECT_THAT(framework.events().waitFor("error display#1"), HasSubstr(textOf(EADDRNOTAVAIL)));
  const EndpointState state = sut.of("display").at(0);
  EXPECT_EQ(state.phase, Phase::refused);
  EXPECT_THAT(state.reason, HasSubstr(textOf(EADDRNOTAVAIL)));
  EXPECT_GE(state.tries, 1u);
}

TEST_F(AConnectionsStatus, IsConsistentWhilePeersComeAndGo) {
  std::vector<std::string> addresses;
  Configuration client(1);
  client.publisher("display");
  for (int i = 0; i < 5; ++i) {
    addresses.push_back(freeAddress());
    client.connect(addresses.back());
  }
  publish("client", client, "display#1");
  std::atomic<bool> ended{false};
  std::thread reader([&] {
    while (!ended) {
      const auto states = sut.of("display");
      EXPECT_EQ(states.size(), addresses.size());
      for (const EndpointState& state : states) {
        EXPECT_TRUE(state.phase != Phase::up || state.reason.empty()) << toText(state);
      }
    }
  });
  for (int round = 1; round <= 3; ++round) {
    const auto id = "station" + std::to_string(round);
    Configuration server(1);
    server.publisher(id);
    for (const std::string& address : addresses) {
      server.bind(address);
    }
    publish("server", server, id + "#1");
    const auto areAll = [](Phase phase) {
      return [phase](const std::vector<EndpointState>& states) {
        return std::all_of(states.begin(), states.end(),
                           [phase](const EndpointState& state) { return state.phase == phase; });
      };
    };
    EXPECT_TRUE(sut.waitForAll("display", areAll(Phase::up)));
    framework.remove("server");
    ASSERT_NE(framework.events().waitFor("unpublished " + id), "");
    EXPECT_TRUE(sut.waitForAll("display", areAll(Phase::lost)));
  }
  ended = true;
  reader.join();
}

constexpr auto unknownName = "the discovery does not know the name";

/// A discovery whose answers a test sets.
class FakeDiscovery : public Discovery {
 public:
  std::vector<DiscoveredAddress> addressesOf(const std::string& name) const override {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!error_.empty()) {
      throw std::runtime_error(error_);
    }
    if (name != "station" || addresses_.empty()) {
      throw std::runtime_error(unknownName);
    }
    std::vector<DiscoveredAddress> found;
    for (const std::string& address : addresses_) {
      found.push_back({address, "", ""});
    }
    return found;
  }

  std::unique_ptr<Announcement> announce(const AnnouncedEndpoint&) override {
    throw std::runtime_error("nothing is announced in these tests");
  }

  void set(const std::string& error, const std::vector<std::string>& addresses) {
    const std::lock_guard<std::mutex> lock(mutex_);
    error_ = error;
    addresses_ = addresses;
  }

 private:
  mutable std::mutex mutex_;

  // Guarded by `mutex_`:
  std::string error_;
  std::vector<std::string> addresses_;
};

class AnUnknownName : public AnEndpointsStatus {
 protected:
  /// Lets the publishers know that the discovery has changed.
  void announceChange() {
    registration.SetProperties({{cppmicroservices::Constants::SERVICE_RANKING, Any(1)}, {"revision", Any(++revision)}});
  }

  const std::shared_ptr<FakeDiscovery> discovery = std::make_shared<FakeDiscovery>();
  cppmicroservices::ServiceRegistration<Discovery> registration = framework.context().RegisterService<Discovery>(
      discovery, {{cppmicroservices::Constants::SERVICE_RANKING, Any(1)}});
  int revision = 0;
};

TEST_F(AnUnknownName, IsUnresolvedUntilTheDiscoveryKnowsIt) {
  framework.update("client", Configuration(1).publisher("display").connect("station"));
  const EndpointState unresolved = sut.waitFor("display", Phase::unresolved, unknownName);
  EXPECT_EQ(unresolved.endpoint, "station");
  EXPECT_EQ(unresolved.address, "");
  EXPECT_EQ(unresolved.tries, 0u);
  publish("server", Configuration(1).publisher("server").bind("inproc://station"), "server#1");
  discovery->set("", {"inproc://station"});
  announceChange();
  const EndpointState up = sut.waitFor("display", Phase::up);
  EXPECT_EQ(up.endpoint, "station");
  EXPECT_EQ(up.address, "inproc://station");
  EXPECT_GE(up.since, unresolved.since);
}

TEST_F(AnUnknownName, HoldsUpABindUntilTheDiscoveryKnowsIt) {
  framework.update("server", Configuration(1).publisher("server").bind("station"));
  sut.waitFor("server", Phase::unresolved, unknownName);
  EXPECT_THAT(framework.events().lines(), IsEmpty());
  discovery->set("", {"inproc://station"});
  announceChange();
  EXPECT_NE(framework.events().waitFor("published server#1"), "");
  EXPECT_THAT(framework.events().lines(), ElementsAre("bound server#1 station", "published server#1"));
}

TEST_F(AnUnknownName, HasTheReasonOfTheDiscovery) {
  discovery->set("no member of the cluster answers", {});
  framework.update("client", Configuration(1).publisher("display").connect("station"));
  EXPECT_EQ(sut.waitFor("display", Phase::unresolved).reason, "no member of the cluster answers");
  discovery->set("", {});
  announceChange();
  EXPECT_EQ(sut.waitFor("display", Phase::unresolved, unknownName).reason, unknownName);
}

TEST_F(AnUnknownName, NamesTheMissingDiscovery) {
  registration.Unregister();
  framework.bundle("spf_table_discovery").Stop();
  framework.update("client", Configuration(1).publisher("display").connect("station"));
  EXPECT_EQ(sut.waitFor("display", Phase::unresolved).reason, "no discovery is registered");
  framework.bundle("spf_table_discovery").Start();
  EXPECT_EQ(sut.waitFor("display", Phase::unresolved, unknownName).reason, unknownName);
}

TEST_F(AnUnknownName, DoesNotDelayOtherEndpoints) {
  publish("server", Configuration(1).publisher("server").bind("inproc://known").connect("station"), "server#1");
  framework.update("client", Configuration(1).publisher("display").connect("station").connect("inproc://known"));
  ASSERT_TRUE(sut.waitForAll("display", [](const std::vector<EndpointState>& states) {
    return states.size() == 2 && states[0].phase == Phase::unresolved && states[1].phase == Phase::up;
  }));
}

class AStatusListener : public AnEndpointsStatus {};

TEST_F(AStatusListener, IsNotCalledAfterItsRemoval) {
  auto calls = std::make_unique<Counter>();
  const auto listener = status->addListener([&calls] { calls->add(); });
  framework.update("a", Configuration(1).publisher("a").bind("inproc://a"));
  EXPECT_TRUE(calls->waitFor(1));
  status->removeListener(listener);
  calls.reset();
  publish("b", Configuration(1).publisher("b").bind("inproc://b"), "b#1");
  EXPECT_EQ(sut.waitFor("b", Phase::up).phase, Phase::up);
}

TEST_F(AStatusListener, IsAwaitedByItsRemoval) {
  Gate isCalled;
  Gate mayReturn;
  std::atomic<bool> hasReturned{false};
  const auto listener = status->addListener([&] {
    isCalled.open();
    EXPECT_TRUE(mayReturn.wait());
    hasReturned = true;
  });
  framework.update("a", Configuration(1).publisher("a").bind("inproc://a"));
  ASSERT_TRUE(isCalled.wait());
  std::thread remover([&] {
    status->removeListener(listener);
    EXPECT_TRUE(hasReturned);
  });
  mayReturn.open();
  remover.join();
}

TEST_F(AStatusListener, MayRemoveItself) {
  Counter calls;
  std::atomic<EndpointStatus::ListenerID> listener{0};
  Gate isAdded;
  listener = status->addListener([&] {
    EXPECT_TRUE(isAdded.wait());
    status->removeListener(listener);
    calls.add();
  });
  isAdded.open();
  framework.update("a", Configuration(1).publisher("a").bind("inproc://a"));
  ASSERT_TRUE(calls.waitFor(1));
  publish("b", Configuration(1).publisher("b").bind("inproc://b"), "b#1");
  sut.waitFor("b", Phase::up);
  EXPECT_EQ(calls.count(), 1);
}

TEST_F(AStatusListener, ThatThrowsAffectsNoOther) {
  const auto thrower = status->addListener([] { throw 42; });
  Counter calls;
  const auto listener = status->addListener([&] { calls.add(); });
  framework.update("a", Configuration(1).publisher("a").bind("inproc://a"));
  EXPECT_TRUE(calls.waitFor(1));
  status->removeListener(thrower);
  status->removeListener(listener);
}

TEST_F(AStatusListener, ThatIsSlowDelaysNoPublisher) {
  Gate isCalled;
  Gate mayReturn;
  const auto listener = status->addListener([&] {
    isCalled.open();
    EXPECT_TRUE(mayReturn.wait());
  });
  framework.update("a", Configuration(1).publisher("a").bind("inproc://a"));
  ASSERT_TRUE(isCalled.wait());
  publish("b", Configuration(1).publisher("b").bind("inproc://b"), "b#1");
  mayReturn.open();
  status->removeListener(listener);
}

TEST_F(AStatusListener, MayStopTheBundle) {
  Gate isStopped;
  std::atomic<bool> isFirst{true};
  status->addListener([&] {
    if (isFirst.exchange(false)) {
      framework.bundle("spf_publishers").Stop();
      isStopped.open();
    }
  });
  framework.update("a", Configuration(1).publisher("a").bind("inproc://a"));
  ASSERT_TRUE(isStopped.wait());
  EXPECT_EQ(framework.service<EndpointStatus>(), nullptr);
  EXPECT_THAT(status->list(), IsEmpty());
}

TEST_F(AStatusListener, IsNotCalledOnceTheBundleIsStopped) {
  auto calls = std::make_unique<Counter>();
  const auto listener = status->addListener([&calls] { calls->add(); });
  framework.update("a", Configuration(1).publisher("a").bind("inproc://a"));
  ASSERT_TRUE(calls->waitFor(1));
  framework.bundle("spf_publishers").Stop();
  calls.reset();
  status->removeListener(listener);
  status->removeListener(status->addListener([] { ADD_FAILURE(); }));
  EXPECT_THAT(status->list(), IsEmpty());
}

TEST_F(AStatusListener, MayBeAddedAndRemovedByManyThreadsWhileThingsChange) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 3; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 100; ++round) {
        auto calls = std::make_unique<Counter>();
        const auto listener = status->addListener([&calls] { calls->add(); });
        status->list();
        status->removeListener(listener);
        calls.reset();
      }
    });
  }
  for (int count = 1; count <= 20; ++count) {
    const auto name = "inproc://" + std::to_string(count % 2);
    publish("weather", Configuration(count).publisher("station").bind(name), "station#" + std::to_string(count));
  }
  for (auto& thread : threads) {
    thread.join();
  }
}

}  // namespace
