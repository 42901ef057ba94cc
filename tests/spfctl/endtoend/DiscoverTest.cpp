#include <gmock/gmock.h>

#include <csignal>

#include <nlohmann/json.hpp>

#include "agent/spf/etcd/NameRecord.hpp"
#include "etcd/support/EtcdCluster.hpp"
#include "etcd/support/FaultProxy.hpp"
#include "support/Process.hpp"
#include "support/Workspace.hpp"

namespace spf::test {

using agent::spf::etcd::NameRecord;
using etcdtest::EtcdCluster;
using etcdtest::EtcdProcess;
using etcdtest::FaultProxy;
using nlohmann::json;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;

// The command with a real member of etcd, whose keys the test writes.
class Discover : public testing::Test {
 protected:
  using Arguments = std::vector<std::string>;
  struct Result {
    int code;
    std::string out;
    std::string err;
  };

  void SetUp() override {
    if (const auto reason = etcdtest::whyNoEtcd(); !reason.empty()) {
      GTEST_SKIP() << reason;
    }
    cluster_ = std::make_unique<EtcdCluster>();
    ASSERT_TRUE(cluster_->waitUntilServing()) << member().log();
  }

  EtcdProcess& member() { return cluster_->member(0); }

  Arguments command(const Arguments& more = {}, const std::string& urls = "") {
    Arguments all = {SPFCTL, "discover", "--discovery", "etcd:" + (urls.empty() ? member().url() : urls)};
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }
  Result discover(const Arguments& more = {}, const std::string& urls = "") {
    Process process(command(more, urls));
    const int code = process.wait();
    return {code, process.out(), process.err()};
  }

  static NameRecord record(const std::string& name, const std::string& id, const std::string& address) {
    return {name, id, address, "", "alpha", 4711, "weather", std::chrono::system_clock::now()};
  }
  void put(const std::string& key, const std::string& value) { member().control({"put", key, value}); }
  void put(const NameRecord& record, const std::string& prefix = "/spf/") {
    const auto [key, value] = encode(record);
    put(prefix + key, value);
  }
  void remove(const NameRecord& record) { member().control({"del", "/spf/" + encode(record).first}); }

  // The pattern of a line that --watch prints.
  static std::string line(const std::string& text) {
    return "[-0-9]+T[:.0-9]+Z  " + text + " \\(host alpha, process 4711, configuration weather\\)\n";
  }

  const NameRecord station_ = record("station", "1", "tcp://10.0.0.1:5555");
  std::unique_ptr<EtcdCluster> cluster_;
};

TEST_F(Discover, ListsWhatHostsAnnounce) {
  put(station_);
  put(record("pier", "2", "tcp://10.0.0.2:1"));
  put(record("pier", "3", "tcp://10.0.0.3:1"));
  const auto result = discover();
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_THAT(result.out, MatchesRegex("NAME     ADDRESS              HOST   CONFIGURATION  AGE\n"
                                       "pier     tcp://10.0.0.2:1     alpha  weather        [0-9]+ s\n"
                                       "pier     tcp://10.0.0.3:1     alpha  weather        [0-9]+ s\n"
                                       "station  tcp://10.0.0.1:5555  alpha  weather        [0-9]+ s\n"));
  const auto document = json::parse(discover({"--json"}).out);
  ASSERT_EQ(document["names"].size(), 3u);
  EXPECT_EQ(document["names"][2]["name"], "station");
  EXPECT_EQ(document["names"][2]["announcement"], "1");
}

TEST_F(Discover, ListsTheNameOfTheKeyThatAHostProves) {
  auto keyed = station_;
  keyed.key = "alpha.key";
  put(keyed);
  EXPECT_THAT(discover().out, HasSubstr("\nstation  tcp://10.0.0.1:5555#alpha.key  alpha  "));
  EXPECT_EQ(json::parse(discover({"--json"}).out)["names"][0]["key"], "alpha.key");
}

TEST_F(Discover, ListsOneNameOrEndsWithOneIfItIsUnknown) {
  put(station_);
  put(record("pier", "2", "tcp://10.0.0.2:1"));
  const auto result = discover({"station"});
  EXPECT_EQ(result.code, 0);
  EXPECT_THAT(result.out, HasSubstr("\nstation "));
  EXPECT_THAT(result.out, testing::Not(HasSubstr("pier")));
  const auto unknown = discover({"nobody"});
  EXPECT_EQ(unknown.code, 1);
  EXPECT_EQ(unknown.out, "");
  EXPECT_EQ(unknown.err, "spfctl discover: the name 'nobody' stands for no address\n");
}

TEST_F(Discover, SaysSoWhenNothingIsAnnounced) {
  const auto result = discover();
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "spfctl discover: no name stands for an address\n");
}

TEST_F(Discover, NamesEachKeyThatItCannotReadAndListsTheRest) {
  put(station_);
  put("/spf/station/x", "no JSON");
  put("/spf/\x1b[2J", "{}");
  const auto result = discover();
  EXPECT_EQ(result.code, 0);
  EXPECT_THAT(result.out, HasSubstr("\nstation "));
  EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 2) << result.err;
  EXPECT_THAT(result.err, HasSubstr("spfctl discover: warning: key '/spf/station/x' is left out: "));
  EXPECT_THAT(result.err, HasSubstr("spfctl discover: warning: key '/spf/\\x1b[2J' is left out: "));
}

TEST_F(Discover, SendsTheTerminalNothingThatTurnsTheWriting) {
  auto evil = station_;
  evil.host =
      "\xe2\x80\xae"
      "ahpla";
  put(evil);
  EXPECT_THAT(discover().out, HasSubstr("  \\u{202e}ahpla  "));
}

TEST_F(Discover, ReadsBelowThePrefixThatItIsGiven) {
  put(station_, "/other/");
  put("/other/x", "");
  const auto result = discover({"--property", "spf.discovery.etcd.prefix=/other/"});
  EXPECT_THAT(result.out, HasSubstr("\nstation "));
  EXPECT_THAT(result.err, HasSubstr("key '/other/x'"));
  EXPECT_EQ(discover().out, "");
}

TEST_F(Discover, ListsATableBesideEtcdAndOfANameInBothTheTableAsAHostUsesIt) {
  put(station_);
  put(record("pier", "2", "tcp://10.0.0.2:1"));
  const Workspace workspace;
  const auto table = workspace.write("table.json", R"({"dock": "ipc:///run/dock", "station": "tcp://10.0.0.9:9"})");
  EXPECT_THAT(discover({"--discovery", "table:" + table}).out,
              MatchesRegex("NAME [^\n]*\n"
                           "dock     ipc:///run/dock +-      -              -\n"
                           "pier     tcp://10.0.0.2:1 +alpha  weather        [0-9]+ s\n"
                           "station  tcp://10.0.0.9:9 +-      -              -\n"));
}

TEST_F(Discover, AsksAnotherMemberIfOneIsOutOfReach) {
  put(station_);
  const auto nobody = "http://" + freeEndpoint().substr(6);
  for (const auto& urls : {nobody + "," + member().url(), member().url() + "," + nobody}) {
    const auto result = discover({}, urls);
    EXPECT_EQ(result.code, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("\nstation "));
    EXPECT_EQ(result.err, "");
  }
}

TEST_F(Discover, EndsWithOneAndTheReasonIfEtcdIsOutOfReach) {
  const auto nobody = "http://" + freeEndpoint().substr(6);
  for (const Arguments& more : {Arguments{}, {"--watch"}, {"--json"}}) {
    Arguments all = more;
    all.insert(all.end(), {"--timeout", "3s"});
    const auto result = discover(all, nobody);
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "spfctl discover: etcd cannot be reached: " + nobody + ": Connection refused\n");
  }
}

TEST_F(Discover, EndsWithFourIfEtcdDoesNotAnswerInTime) {
  FaultProxy proxy(member().clientPort());
  proxy.set(FaultProxy::Behaviour::stall);
  const auto result = discover({"--timeout", "300ms"}, proxy.url());
  EXPECT_EQ(result.code, 4);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "spfctl discover: no answer from etcd in time\n");
}

TEST_F(Discover, FollowsChangesLineByLine) {
  put(station_);
  Process process(command({"--watch"}));
  ASSERT_TRUE(process.waitForOutput("configuration weather)\n")) << process.err();
  const auto pier = record("pier", "2", "tcp://10.0.0.2:1");
  put(pier);
  ASSERT_TRUE(process.waitForOutput("  pier  added"));
  put(record("station", "1", "tcp://10.0.0.1:6666"));
  ASSERT_TRUE(process.waitForOutput("  station  moved"));
  remove(pier);
  ASSERT_TRUE(process.waitForOutput("  pier  removed"));
  put(record("last", "3", "tcp://10.0.0.3:1"));
  ASSERT_TRUE(process.waitForOutput("  last  added tcp://10.0.0.3:1"));
  process.signal(SIGINT);
  EXPECT_EQ(process.wait(), 1000 + SIGINT);
  EXPECT_THAT(process.out(),
              MatchesRegex(line("station  present tcp://10.0.0.1:5555") +  //
                           line("pier  added tcp://10.0.0.2:1") +
                           line("station  moved from tcp://10.0.0.1:5555 to tcp://10.0.0.1:6666") +
                           line("pier  removed tcp://10.0.0.2:1") + line("last  added tcp://10.0.0.3:1")));
  EXPECT_EQ(process.err(), "");
}

TEST_F(Discover, FollowsOneNameOnly) {
  Process process(command({"--watch", "station"}));
  // Both are there, or come later: the order of the two is the same.
  put(record("pier", "2", "tcp://10.0.0.2:1"));
  put("/spf/garbage", "");
  put(station_);
  ASSERT_TRUE(process.waitForOutput("  station  "));
  EXPECT_THAT(process.out(), testing::Not(HasSubstr("pier")));
  EXPECT_EQ(process.err(), "");
}

TEST_F(Discover, FollowsChangesAsJsonLines) {
  put(station_);
  Process process(command({"--watch", "--json"}));
  ASSERT_TRUE(process.waitForOutput("}\n")) << process.err();
  remove(station_);
  ASSERT_TRUE(process.waitForOutput("removed"));
  ASSERT_TRUE(process.waitForOutput("\"announcement\":\"1\"}\n"));
  const auto end = process.out().find('\n');
  const auto first = json::parse(process.out().substr(0, end));
  EXPECT_EQ(first["change"], "present");
  EXPECT_EQ(first["address"], "tcp://10.0.0.1:5555");
}

TEST_F(Discover, WarnsOnceOfAKeyThatItCannotReadWhileItFollows) {
  Process process(command({"--watch"}));
  put("/spf/x", "1");
  ASSERT_TRUE(process.waitForErrorOutput("key '/spf/x' is left out: "));
  put("/spf/x", "2");
  put(station_);
  ASSERT_TRUE(process.waitForOutput("  station  "));
  process.signal(SIGTERM);
  EXPECT_EQ(process.wait(), 1000 + SIGTERM);
  EXPECT_EQ(std::count(process.err().begin(), process.err().end(), '\n'), 1) << process.err();
}

TEST_F(Discover, OutlivesAnOutageWhileItFollows) {
  put(station_);
  Process process(command({"--watch", "--property", "spf.discovery.etcd.ttl=1"}));
  ASSERT_TRUE(process.waitForOutput("  station  present"));
  member().kill();
  ASSERT_TRUE(process.waitForErrorOutput("spfctl discover: warning: " + member().url() + ": "));
  member().start();
  ASSERT_TRUE(member().waitUntilServing());
  ASSERT_TRUE(process.waitForErrorOutput("spfctl discover: etcd answers again\n"));
  put(record("pier", "2", "tcp://10.0.0.2:1"));
  ASSERT_TRUE(process.waitForOutput("  pier  added"));
  EXPECT_THAT(process.out(), testing::Not(HasSubstr("removed")));
}

TEST_F(Discover, ReportsAnOutageThatBeginsSoonAfterTheLastWasOver) {
  put(station_);
  FaultProxy proxy(member().clientPort());
  Process process(command({"--watch", "--property", "spf.discovery.etcd.ttl=600"}, proxy.url()));
  ASSERT_TRUE(process.waitForOutput("  station  present"));
  const std::string warning = "spfctl discover: warning: " + proxy.url() + ": ";
  const std::string healed = "spfctl discover: etcd answers again\n";
  proxy.set(FaultProxy::Behaviour::cut);
  ASSERT_TRUE(process.waitForErrorOutput(warning));
  proxy.set(FaultProxy::Behaviour::forward);
  ASSERT_TRUE(process.waitForErrorOutput(healed));
  proxy.set(FaultProxy::Behaviour::cut);
  EXPECT_TRUE(process.waitForErrorOutput(healed + warning)) << process.err();
  process.signal(SIGTERM);
  EXPECT_EQ(process.wait(), 1000 + SIGTERM);
  EXPECT_EQ(process.err().rfind(healed), process.err().find(healed)) << process.err();
}

}  // namespace spf::test
