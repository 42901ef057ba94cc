#include <chrono>
#include <csignal>
#include <ctime>
#include <iomanip>
#include <set>
#include <sstream>

#include "EndToEnd.hpp"
#include "agent/spf/etcd/NameRecord.hpp"
#include "etcd/support/EtcdCluster.hpp"
#include "etcd/support/FaultProxy.hpp"

namespace spf::test {

using etcdtest::EtcdCluster;
using etcdtest::EtcdProcess;
using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;

// Hosts that find one another by names in a real etcd.
class Names : public EndToEnd {
 protected:
  static constexpr std::chrono::seconds ttl{3};

  void SetUp() override {
    if (const auto reason = etcdtest::whyNoEtcd(); !reason.empty()) {
      GTEST_SKIP() << reason;
    }
    cluster_ = std::make_unique<EtcdCluster>();
    ASSERT_TRUE(cluster_->waitUntilServing()) << member().log();
  }

  EtcdProcess& member() { return cluster_->member(0); }

  // All members, unless a test has set others.
  Arguments discovery() {
    std::string list = urls_;
    if (list.empty()) {
      for (const auto& url : cluster_->urls()) {
        list += (list.empty() ? "" : ",") + url;
      }
    }
    return {"--discovery", "etcd:" + list};
  }

  // The command line of a host with one publisher, which stays however long its peers are away.
  Arguments named(const std::string& id, const std::string& publisher, const Configuration::Texts& bind,
                  const Configuration::Texts& connect = {}) {
    auto more = discovery();
    more.insert(more.end(), {"--property", "spf.discovery.etcd.ttl=" + std::to_string(ttl.count()), "--timeout", "1h"});
    return host(write(id + ".json", Configuration(id).publisher(publisher, bind, connect)), more);
  }
  Arguments station(const std::string& id = "weather") { return named(id, "station", {"tcp://127.0.0.1:*"}); }
  Arguments buoy() { return named("sea", "buoy", {"tcp://127.0.0.1:*"}); }
  Arguments pier() { return named("harbour", "pier", {}, {"station"}); }
  Arguments pierOfBoth() { return named("harbour", "pier", {}, {"station", "buoy"}); }

  Result discover(const Arguments& more = {}) {
    Arguments all = {SPFCTL, "discover"};
    for (const auto& arguments : {more, discovery()}) {
      all.insert(all.end(), arguments.begin(), arguments.end());
    }
    Process process(all);
    return resultOf(process);
  }
  // Waits until so many hosts announce the station, since a host that is ready may not have done so yet, and returns
  // their addresses.
  std::set<std::string> addressesOfStation(std::size_t count) {
    std::set<std::string> addresses;
    EXPECT_TRUE(askUntil([&] {
      addresses.clear();
      const auto document = json::parse(discover({"station", "--json"}).out, nullptr, false);
      for (const auto& name : document.is_object() ? document["names"] : json::array()) {
        addresses.insert(name["address"].get<std::string>());
      }
      return addresses.size() == count;
    }));
    return addresses;
  }
  std::string addressOfStation() {
    const auto addresses = addressesOfStation(1);
    return addresses.empty() ? "" : *addresses.begin();
  }
  Process follow() {
    Arguments all = {SPFCTL, "discover", "--watch"};
    const auto more = discovery();
    all.insert(all.end(), more.begin(), more.end());
    return Process(all);
  }

  // Waits until a lease has lapsed that nobody renews.
  void waitInEtcd(std::chrono::seconds duration) {
    Process clock({SPFCTL, "discover", "--watch", "--discovery", "etcd:" + member().url(), "--property",
                   "spf.discovery.etcd.prefix=/clock/"});
    const auto granted = member().control({"lease", "grant", std::to_string(duration.count())});
    std::istringstream words(granted);
    std::string lease;
    words >> lease >> lease;
    const auto [key, value] = encode(agent::spf::etcd::NameRecord{"clock", "1", "tcp://10.0.0.1:1", "", "alpha", 1,
                                                                  "clock", std::chrono::system_clock::now()});
    member().control({"put", "/clock/" + key, value, "--lease=" + lease});
    ASSERT_TRUE(clock.waitForOutput("  clock  removed")) << granted << clock.err();
  }

  // Waits until the harbour's record of the name satisfies a condition.
  bool waitForStation(const std::function<bool(const json&)>& condition) const {
    return waitForStatus("harbour", [&](const json& status) {
      const auto record = recordOf(status, "station");
      return record.is_object() && condition(record);
    });
  }
  bool waitForStationAt(const std::string& address) const {
    return waitForStation([&](const json& record) { return record["phase"] == "up" && record["address"] == address; });
  }
  // Waits until a status says that the connection is older than a time. A status is late by what the host needs to
  // write it, so one that says otherwise proves nothing; but no status of a connection that was closed and opened again
  // says so.
  bool waitForStationSinceBefore(const std::string& time, const std::string& address) const {
    return waitForStation([&](const json& record) {
      return record["phase"] == "up" && record["address"] == address && record["since"].get<std::string>() <= time;
    });
  }
  bool waitForReason(const std::string& name, const std::string& reason) const {
    return waitForStatus("harbour", [&](const json& status) {
      const auto record = recordOf(status, name);
      return record.is_object() && record["reason"].get<std::string>().find(reason) != std::string::npos;
    });
  }
  void forgetKilled(const std::string& host) const {
    std::filesystem::remove(socketOf(host));
    std::filesystem::remove(lockOf(host));
  }

  // The time as a status has it.
  static std::string timeNow() {
    const auto now = std::chrono::system_clock::now();
    const auto seconds = std::chrono::system_clock::to_time_t(now);
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::ostringstream text;
    text << std::put_time(&parts, "%Y-%m-%dT%H:%M:%S.") << std::setfill('0') << std::setw(3) << milliseconds << 'Z';
    return text.str();
  }

  std::string urls_;
  std::unique_ptr<EtcdCluster> cluster_;
};

TEST_F(Names, AreConnectedToAsSoonAsTheyAreAnnounced) {
  Process harbour(pier());
  ASSERT_TRUE(harbour.waitForOutput("pier: to connect station")) << harbour.err();
  ASSERT_TRUE(waitForStation([](const json& record) { return record["phase"] == "unresolved"; }));
  Process weather(station());
  ASSERT_TRUE(weather.waitForOutput("ready: weather")) << weather.err();
  ASSERT_TRUE(harbour.waitForOutput("ready: harbour")) << harbour.err();
  const auto names = json::parse(discover({"station", "--json"}).out)["names"];
  ASSERT_EQ(names.size(), 1u);
  EXPECT_EQ(names[0]["configuration"], "weather");
  EXPECT_EQ(names[0]["process"], weather.id());
  EXPECT_TRUE(waitForStationAt(names[0]["address"]));
  end(weather);
  EXPECT_EQ(discover({"station"}).code, 1) << "a host that ends withdraws its names at once";
  end(harbour);
}

TEST_F(Names, OutliveAHostThatIsKilledByATimeToLiveAndAreFollowedToAnotherPort) {
  Process harbour(pier());
  Process weather(station());
  ASSERT_TRUE(harbour.waitForOutput("ready: harbour")) << harbour.err();
  const std::string address = addressOfStation();
  auto followed = follow();
  ASSERT_TRUE(followed.waitForOutput("present " + address));

  const auto killed = std::chrono::steady_clock::now();
  killNow(weather);
  forgetKilled("weather");
  // The connection is lost at once; the name stays until the lease has lapsed.
  ASSERT_TRUE(waitForStation([&](const json& record) { return record["phase"] == "lost"; }));
  ASSERT_TRUE(followed.waitForOutput("removed " + address));
  EXPECT_GE(std::chrono::steady_clock::now() - killed, ttl * 2 / 3) << "the last sign of life is a third of it ago";
  ASSERT_TRUE(waitForStation([&](const json& record) { return record["phase"] == "lost" && record["address"] == ""; }));
  EXPECT_THAT(call({"status", "harbour"}).out, HasSubstr("station  lost"));

  Process again(station());
  ASSERT_TRUE(again.waitForOutput("ready: weather")) << again.err();
  const std::string next = addressOfStation();
  EXPECT_NE(next, address);
  EXPECT_TRUE(waitForStationAt(next));
  EXPECT_TRUE(waitForState("harbour", "ready"));
  EXPECT_TRUE(followed.waitForOutput("added " + next));
  end(again);
  end(harbour);
}

TEST_F(Names, ThatSeveralHostsAnnounceAreConnectedToAtAllOfThem) {
  std::vector<std::unique_ptr<Process>> stations;
  for (const auto* id : {"north", "south", "west"}) {
    stations.push_back(std::make_unique<Process>(station(id)));
    ASSERT_TRUE(stations.back()->waitForOutput("ready: ")) << stations.back()->err();
  }
  const auto all = addressesOfStation(3);
  EXPECT_THAT(discover().out,
              MatchesRegex("NAME     ADDRESS[^\n]*\n"
                           "(station  tcp://127.0.0.1:[0-9]+ +[^ ]+ +(north|south|west) +[0-9]+ s\n)+"));
  Process harbour(pier());
  ASSERT_TRUE(harbour.waitForOutput("ready: harbour")) << harbour.err();
  const auto upAt = [&](const json& status) {
    std::set<std::string> addresses;
    for (const auto& record : endpointsOf(status)) {
      if (record["endpoint"] == "station" && record["phase"] == "up") {
        addresses.insert(record["address"].get<std::string>());
      }
    }
    return addresses;
  };
  EXPECT_TRUE(waitForStatus("harbour", [&](const json& status) { return upAt(status) == all; }));
  for (auto& process : stations) {
    end(*process);
  }
  EXPECT_TRUE(waitForStation([](const json& record) { return record["phase"] == "lost"; }));
  end(harbour);
}

TEST_F(Names, AreOutstandingWithTheReasonWhileEtcdIsAway) {
  member().kill();
  Process harbour(pier());
  Process weather(station());
  ASSERT_TRUE(weather.waitForOutput("ready: weather")) << "a host needs etcd for its peers only: " << weather.err();
  ASSERT_TRUE(waitForStation([&](const json& record) {
    return record["phase"] == "unresolved" &&
           record["reason"].get<std::string>().find("Connection refused") != std::string::npos;
  }));
  const auto status = call({"status", "harbour"});
  EXPECT_THAT(status.out, HasSubstr("connect  station  unresolved"));
  EXPECT_THAT(status.out, HasSubstr(member().url()));
  member().start();
  ASSERT_TRUE(member().waitUntilServing()) << member().log();
  ASSERT_TRUE(harbour.waitForOutput("ready: harbour")) << harbour.out();
  end(weather);
  end(harbour);
}

TEST_F(Names, ThatAreLostAreShownOnATerminal) {
  if (const auto reason = Process::whyNoTerminal(); !reason.empty()) {
    GTEST_SKIP() << "needs a pseudo-terminal, and none can be opened here: " << reason;
  }
  Process harbour(pier(), Process::Stdout::terminal);
  Process weather(station());
  ASSERT_TRUE(harbour.waitForNextOutput("ready: harbour")) << harbour.err();
  killNow(weather);
  forgetKilled("weather");
  ASSERT_TRUE(harbour.waitForNextOutput("pier  degraded ")) << harbour.out();
  ASSERT_TRUE(harbour.waitForNextOutput("  to connect station: lost")) << harbour.out();
  Process again(station());
  EXPECT_TRUE(harbour.waitForNextOutput("pier  ready ")) << harbour.out();
  ASSERT_TRUE(again.waitForOutput("ready: weather")) << again.err();
  end(again);
  harbour.signal(SIGTERM);
  EXPECT_EQ(harbour.wait(), 0) << harbour.err();
}

TEST_F(Names, StayKnownWhileEtcdIsAway) {
  Process harbour(pierOfBoth());
  Process weather(station());
  ASSERT_TRUE(weather.waitForOutput("ready: weather")) << weather.err();
  const std::string address = addressOfStation();
  ASSERT_TRUE(waitForStationAt(address)) << harbour.err();
  ASSERT_TRUE(waitForReason("buoy", "no host announces"));
  const auto before = timeNow();
  member().kill();
  // Nobody can ask any more, but the host keeps what it knows, also once it has noticed.
  EXPECT_EQ(discover({"--timeout", "3s"}).code, 1);
  ASSERT_TRUE(waitForReason("buoy", "Connection refused"));
  EXPECT_TRUE(waitForStationSinceBefore(before, address));
  member().start();
  ASSERT_TRUE(member().waitUntilServing()) << member().log();
  ASSERT_TRUE(waitForReason("buoy", "no host announces"));
  Process sea(buoy());
  ASSERT_TRUE(sea.waitForOutput("ready: sea")) << sea.err();
  EXPECT_TRUE(harbour.waitForOutput("ready: harbour")) << harbour.out();
  EXPECT_EQ(addressOfStation(), address);
  EXPECT_TRUE(waitForStationSinceBefore(before, address));
  end(sea);
  end(weather);
  end(harbour);
}

TEST_F(Names, AreAnnouncedAgainAfterEtcdWasAwayForThreeTimesToLive) {
  etcdtest::FaultProxy proxy(member().clientPort());
  urls_ = proxy.url();
  Process harbour(pierOfBoth());
  Process weather(station());
  ASSERT_TRUE(weather.waitForOutput("ready: weather")) << weather.err();
  Process sea(buoy());
  ASSERT_TRUE(sea.waitForOutput("ready: sea")) << sea.err();
  ASSERT_TRUE(harbour.waitForOutput("ready: harbour")) << harbour.err();
  urls_ = member().url();  // for what the test asks
  const std::string address = addressOfStation();
  ASSERT_TRUE(askUntil([&] { return discover({"buoy"}).code == 0; }));

  const auto before = timeNow();
  proxy.set(etcdtest::FaultProxy::Behaviour::cut);
  waitInEtcd(3 * ttl);
  EXPECT_EQ(discover().out, "") << "the leases of all hosts have lapsed";
  EXPECT_TRUE(waitForStationSinceBefore(before, address));
  proxy.set(etcdtest::FaultProxy::Behaviour::forward);

  EXPECT_EQ(addressOfStation(), address);
  EXPECT_TRUE(askUntil([&] { return discover({"buoy"}).code == 0; }));
  EXPECT_TRUE(waitForStationSinceBefore(before, address));
  EXPECT_TRUE(waitForState("harbour", "ready"));
  for (auto* host : {&sea, &weather, &harbour}) {
    end(*host);
  }
}

TEST_F(Names, AreFoundAfterTheLeaderOfThreeMembersWasKilled) {
  cluster_ = std::make_unique<EtcdCluster>(3);
  ASSERT_TRUE(cluster_->waitUntilServing());
  Process harbour(pierOfBoth());
  Process weather(station());
  ASSERT_TRUE(weather.waitForOutput("ready: weather")) << weather.err();
  const std::string address = addressOfStation();
  ASSERT_TRUE(waitForStationAt(address)) << harbour.err();
  const auto before = timeNow();
  cluster_->member(cluster_->leader()).kill();
  Process sea(buoy());
  ASSERT_TRUE(sea.waitForOutput("ready: sea")) << sea.err();
  EXPECT_TRUE(harbour.waitForOutput("ready: harbour")) << harbour.out();
  EXPECT_TRUE(askUntil([&] { return discover({"buoy"}).code == 0; }));
  EXPECT_EQ(addressOfStation(), address);
  EXPECT_TRUE(waitForStationSinceBefore(before, address));
  for (auto* host : {&sea, &weather, &harbour}) {
    end(*host);
  }
}

}  // namespace spf::test
