#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/ServiceRegistration.h>
#include "agent/spf/etcd/NameRecord.hpp"
#include "agent/spf/frameworkinterfaces/Discovery.hpp"
#include "agent/spf/frameworkinterfaces/Transport.hpp"
#include "etcd/support/EtcdCluster.hpp"
#include "spf/test/Gate.hpp"
#include "support/FakeTransport.hpp"
#include "support/OwnKey.hpp"
#include "support/RunningFramework.hpp"

namespace {

using agent::spf::etcd::decode;
using agent::spf::etcd::encode;
using agent::spf::etcd::NameRecord;
using agent::spf::frameworkinterfaces::DiscoveredAddress;
using agent::spf::frameworkinterfaces::Discovery;
using agent::spf::frameworkinterfaces::DiscoveryListener;
using agent::spf::frameworkinterfaces::Transport;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using etcdtest::EtcdCluster;
using etcdtest::freePortHere;
using etcdtest::whyNoEtcd;
using frameworktest::RunningFramework;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

AnyMap properties(const std::vector<std::pair<std::string, Any>>& values) {
  AnyMap map(AnyMap::UNORDERED_MAP);
  for (const auto& [name, value] : values) {
    map[name] = value;
  }
  return map;
}

std::string unreachableMember() {
  return "http://" + etcdtest::addressOfThisProcess() + ":" + std::to_string(freePortHere());
}

std::size_t numberOfDiscoveries(RunningFramework& framework) {
  return framework.context().GetServiceReferences<Discovery>().size();
}

/// Counts the reports of changes.
class Listener : public DiscoveryListener {
 public:
  void discoveryChanged() override { changes.add(); }

  /// Blocks until the condition holds; looks again after each change.
  template <class Condition>
  [[nodiscard]] bool waitUntil(Condition condition) {
    for (int count = changes.count(); !condition(); ++count) {
      if (!changes.waitFor(count + 1)) {
        return false;
      }
    }
    return true;
  }

  spf::test::Counter changes;
};

std::string reasonOf(const Discovery& discovery, const std::string& name) {
  try {
    const auto addresses = discovery.addressesOf(name);
    return "known, with " + std::to_string(addresses.size()) + " addresses";
  } catch (const std::runtime_error& error) {
    return error.what();
  }
}

std::vector<std::string> addresses(const Discovery& discovery, const std::string& name) {
  std::vector<std::string> texts;
  try {
    for (const DiscoveredAddress& address : discovery.addressesOf(name)) {
      texts.push_back(address.address);
    }
  } catch (const std::runtime_error&) {
    // It is unknown.
  }
  return texts;
}

/// Asks etcd again and again, since nothing reports what it has written.
template <class Condition>
[[nodiscard]] bool eventually(Condition condition) {
  const auto deadline = std::chrono::steady_clock::now() + spf::test::patience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
  }
  return true;
}

TEST(TheEtcdDiscovery, IsAbsentWithoutItsProperty) {
  RunningFramework framework;
  EXPECT_EQ(numberOfDiscoveries(framework), 1u);
  framework.bundle("spf_etcd_discovery").Stop();
}

struct BadSetting {
  std::string name;
  Any value;
  std::string message;
};

class TheEtcdDiscoverysSettings : public testing::TestWithParam<BadSetting> {};

TEST_P(TheEtcdDiscoverysSettings, AreRefusedByName) {
  try {
    const RunningFramework framework({}, properties({{"spf.discovery.etcd", std::string("http://127.0.0.1:1")},
                                                     {GetParam().name, GetParam().value}}));
    FAIL() << "accepted";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr("Cannot start bundle file"));
    EXPECT_THAT(error.what(), HasSubstr(GetParam().message));
  }
}

INSTANTIATE_TEST_SUITE_P(
    All, TheEtcdDiscoverysSettings,
    testing::Values(
        BadSetting{"spf.discovery.etcd", std::string("somewhere"), "'spf.discovery.etcd': "},
        BadSetting{"spf.discovery.etcd.ttl", std::string("0"),
                   "'spf.discovery.etcd.ttl': '0'; expected whole seconds from 1 to 3600"},
        BadSetting{"spf.discovery.etcd.ttl", 3601, "'3601'; expected whole seconds from 1 to 3600"},
        BadSetting{"spf.discovery.etcd.ttl", std::string("5s"), "'5s'; expected whole seconds"},
        BadSetting{"spf.discovery.etcd.prefix", std::string("spf/"), "'spf/'; expected a text that begins"},
        BadSetting{"spf.discovery.etcd.cert", std::string("/c.pem"), "'spf.discovery.etcd.key': ''; expected a file"},
        BadSetting{"spf.discovery.etcd.key", std::string("/k.pem"), "'spf.discovery.etcd.cert': ''; expected a file"},
        BadSetting{"spf.discovery.etcd.user", std::string("me"),
                   "'spf.discovery.etcd.password_file': ''; expected a value"},
        BadSetting{"spf.discovery.etcd.ca", std::string("/does/not/exist.pem"), "/does/not/exist.pem"}),
    [](const auto& setting) { return std::to_string(setting.index); });

/// With a member that nothing listens at.
class AnEtcdDiscoveryWithoutEtcd : public testing::Test {
 protected:
  const std::string member = unreachableMember();
  RunningFramework framework{AnyMap(AnyMap::ORDERED_MAP, {{"fixed", std::string("tcp://10.0.0.9:1")}}),
                             properties({{"spf.discovery.etcd", member}})};
  const std::shared_ptr<Listener> listener = std::make_shared<Listener>();
  cppmicroservices::ServiceRegistration<DiscoveryListener> registration =
      framework.context().RegisterService<DiscoveryListener>(listener);
  std::shared_ptr<Discovery> sut = framework.service<Discovery>();
};

TEST_F(AnEtcdDiscoveryWithoutEtcd, CountsMoreThanTheTable) {
  EXPECT_EQ(numberOfDiscoveries(framework), 2u);
  EXPECT_THAT(reasonOf(*sut, "station"), Not(HasSubstr("does not know")));
}

TEST_F(AnEtcdDiscoveryWithoutEtcd, NamesTheMemberThatDoesNotAnswer) {
  EXPECT_TRUE(listener->waitUntil([&] { return reasonOf(*sut, "station").find(member) != std::string::npos; }))
      << reasonOf(*sut, "station");
}

TEST_F(AnEtcdDiscoveryWithoutEtcd, AsksTheTableFirst) {
  const auto announcement = sut->announce({"fixed", "tcp://10.0.0.1:1", "", "weather"});
  EXPECT_THAT(addresses(*sut, "fixed"), ElementsAre("tcp://10.0.0.9:1"));
}

TEST_F(AnEtcdDiscoveryWithoutEtcd, KnowsWhatThisProcessAnnouncesAtOnce) {
  const int before = listener->changes.count();
  auto first = sut->announce({"station", "tcp://10.0.0.1:1", "", "weather"});
  const auto second = sut->announce({"station", "tcp://10.0.0.1:2", "blue", "weather"});
  EXPECT_NE(first->id(), second->id());
  EXPECT_THAT(sut->addressesOf("station"),
              testing::UnorderedElementsAre(DiscoveredAddress{"tcp://10.0.0.1:1", "", first->id()},
                                            DiscoveredAddress{"tcp://10.0.0.1:2", "blue", second->id()}));
  EXPECT_TRUE(listener->changes.waitFor(before + 1));
  first.reset();
  EXPECT_THAT(addresses(*sut, "station"), ElementsAre("tcp://10.0.0.1:2"));
}

TEST_F(AnEtcdDiscoveryWithoutEtcd, RefusesAnnouncementsOnceItHasStopped) {
  auto announcement = sut->announce({"station", "tcp://10.0.0.1:1", "", "weather"});
  const int before = listener->changes.count();
  framework.bundle("spf_etcd_discovery").Stop();
  EXPECT_GT(listener->changes.count(), before);
  EXPECT_THROW(sut->announce({"station", "tcp://10.0.0.1:2", "", "weather"}), std::runtime_error);
  EXPECT_THAT(addresses(*sut, "station"), IsEmpty());
  EXPECT_NE(announcement->id(), "");
  announcement.reset();  // after the end of its discovery
  framework.bundle("spf_etcd_discovery").Start();
  EXPECT_EQ(numberOfDiscoveries(framework), 2u);
}

/// With a member of its own.
class AnEtcdDiscovery : public testing::Test {
 protected:
  void SetUp() override {
    if (const auto reason = whyNoEtcd(); !reason.empty()) {
      GTEST_SKIP() << reason;
    }
    cluster = std::make_unique<EtcdCluster>();
    ASSERT_TRUE(cluster->waitUntilServing()) << cluster->member(0).log();
    framework = std::make_unique<RunningFramework>(
        AnyMap(AnyMap::ORDERED_MAP),
        properties({{"spf.discovery.etcd", cluster->member(0).url()}, {"spf.discovery.etcd.ttl", 2}}));
    registration = framework->context().RegisterService<DiscoveryListener>(listener);
    sut = framework->service<Discovery>();
  }

  std::string keys() { return cluster->member(0).control({"get", "--prefix", "/spf/", "--keys-only"}); }

  void put(const std::string& key, const std::string& value) { cluster->member(0).control({"put", key, value}); }

  NameRecord foreignRecord(const std::string& name, const std::string& id, const std::string& address) {
    NameRecord record;
    record.name = name;
    record.id = id;
    record.address = address;
    record.key = "blue";
    record.host = "elsewhere";
    record.configuration = "weather";
    return record;
  }

  void put(const NameRecord& record) {
    const auto [key, value] = encode(record);
    put("/spf/" + key, value);
  }

  std::unique_ptr<EtcdCluster> cluster;
  std::unique_ptr<RunningFramework> framework;
  const std::shared_ptr<Listener> listener = std::make_shared<Listener>();
  cppmicroservices::ServiceRegistration<DiscoveryListener> registration;
  std::shared_ptr<Discovery> sut;
};

TEST_F(AnEtcdDiscovery, FollowsWhatOtherHostsAnnounce) {
  const auto known = [&](const std::vector<std::string>& expected) {
    return listener->waitUntil([&] { return addresses(*sut, "station") == expected; });
  };
  put(foreignRecord("station", "b", "tcp://10.0.0.2:1"));
  EXPECT_TRUE(known({"tcp://10.0.0.2:1"}));
  EXPECT_EQ(sut->addressesOf("station").front(), (DiscoveredAddress{"tcp://10.0.0.2:1", "blue", "b"}));
  put(foreignRecord("station", "a", "tcp://10.0.0.1:1"));
  EXPECT_TRUE(known({"tcp://10.0.0.1:1", "tcp://10.0.0.2:1"}));
  put("/spf/station/c", "garbage");
  put(foreignRecord("station", "b", "tcp://10.0.0.3:1"));
  EXPECT_TRUE(known({"tcp://10.0.0.1:1", "tcp://10.0.0.3:1"}));
  cluster->member(0).control({"del", "--prefix", "/spf/station/"});
  EXPECT_TRUE(known({}));
  EXPECT_TRUE(listener->waitUntil([&] { return reasonOf(*sut, "station") == "no host announces the name in etcd"; }))
      << reasonOf(*sut, "station");
}

TEST_F(AnEtcdDiscovery, PutsItsAnnouncementsUntilTheyAreWithdrawn) {
  auto first = sut->announce({"station", "tcp://10.0.0.1:1", "", "weather"});
  const auto second = sut->announce({"station", "tcp://10.0.0.1:2", "", "weather"});
  const auto has = [&](const std::string& id) { return keys().find("/spf/station/" + id) != std::string::npos; };
  EXPECT_TRUE(eventually([&] { return has(first->id()) && has(second->id()); })) << keys();
  const std::string withdrawn = first->id();
  first.reset();
  EXPECT_TRUE(eventually([&] { return !has(withdrawn); })) << keys();
  EXPECT_TRUE(has(second->id()));
}

TEST_F(AnEtcdDiscovery, PutsTheNameOfTheKeyOfEachEndpointThatIsAnnounced) {
  sut.reset();
  registration = {};
  framework.reset();
  const frameworktest::OwnKey key("own");
  AnyMap keyed = key.properties();
  keyed["spf.discovery.etcd"] = cluster->member(0).url();
  RunningFramework withKey(AnyMap(AnyMap::ORDERED_MAP), keyed);
  const auto transport = std::make_shared<frameworktest::FakeTransport>();
  const auto offered =
      withKey.context().RegisterService<Transport>(transport, {{cppmicroservices::Constants::SERVICE_RANKING, 1}});
  withKey.update("weather", frameworktest::Configuration(1).publisher("station").bind("tcp://127.0.0.1:1"));
  transport->endpoint(1).opened("tcp://127.0.0.1:4711");
  const auto value = [&] {
    return cluster->member(0).control({"get", "--prefix", "/spf/station/", "--print-value-only"});
  };
  EXPECT_TRUE(eventually([&] { return !value().empty(); }));
  const NameRecord record = decode("station/1", value());
  EXPECT_EQ(record.address, "tcp://127.0.0.1:4711");
  EXPECT_EQ(record.key, "own");
}

TEST_F(AnEtcdDiscovery, TakesItsNamesWithItWhenItStops) {
  const auto announcement = sut->announce({"station", "tcp://10.0.0.1:1", "", "weather"});
  EXPECT_TRUE(eventually([&] { return !keys().empty(); }));
  framework->bundle("spf_etcd_discovery").Stop();
  EXPECT_EQ(keys(), "");
}

TEST_F(AnEtcdDiscovery, KeepsItsNamesOverAnOutage) {
  put(foreignRecord("station", "a", "tcp://10.0.0.1:1"));
  EXPECT_TRUE(listener->waitUntil([&] { return !addresses(*sut, "station").empty(); }));
  cluster->member(0).kill();
  EXPECT_TRUE(listener->waitUntil([&] {
    return reasonOf(*sut, "unknown").find(cluster->member(0).url()) != std::string::npos;
  })) << reasonOf(*sut, "unknown");
  EXPECT_THAT(addresses(*sut, "station"), ElementsAre("tcp://10.0.0.1:1"));
  cluster->member(0).start();
  EXPECT_TRUE(listener->waitUntil([&] { return reasonOf(*sut, "unknown") == "no host announces the name in etcd"; }))
      << reasonOf(*sut, "unknown");
  EXPECT_THAT(addresses(*sut, "station"), ElementsAre("tcp://10.0.0.1:1"));
}

}  // namespace
