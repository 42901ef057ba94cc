#include <csignal>
#include <memory>

#include "EndToEnd.hpp"

namespace spf::test {

using nlohmann::json;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

// Each host connects to the next one.
class ARingOfThreeHosts : public EndToEnd {
 protected:
  static constexpr std::size_t size = 3;

  static std::string name(std::size_t index) { return "host" + std::to_string(index % size); }
  const std::string& endpoint(std::size_t index) const { return endpoints_[index % size]; }

  void start(std::size_t index) {
    const auto file = write(name(index), Configuration(name(index))
                                             .publisher("p", {endpoint(index)}, {endpoint(index + 1)})
                                             .interface("t", "weather.Temperature"));
    hosts_[index % size] = std::make_unique<Process>(host(file));
  }
  Process& process(std::size_t index) { return *hosts_[index % size]; }

  bool isReady(std::size_t index) { return codeOf({"status", name(index), "--wait", "ready"}) == 0; }

 private:
  const std::string endpoints_[size] = {freeEndpoint(), freeEndpoint(), freeEndpoint()};
  std::unique_ptr<Process> hosts_[size];
};

TEST_F(ARingOfThreeHosts, RecoversWhenEachHostIsKilledAndStartedAgain) {
  for (std::size_t index = 0; index < size; ++index) {
    start(index);
  }
  for (std::size_t index = 0; index < size; ++index) {
    ASSERT_TRUE(isReady(index));
  }
  for (std::size_t victim = 0; victim < size; ++victim) {
    killNow(process(victim));
    const auto watcher = victim + size - 1;
    EXPECT_TRUE(waitForPhase(name(watcher), endpoint(victim), "lost"));
    EXPECT_EQ(status(name(watcher))["configuration"]["revision"], 1);
    ASSERT_TRUE(process(watcher).waitForNextOutput("p: to connect " + endpoint(victim) + ": lost"));
    EXPECT_EQ(codeOf({"status", name(victim)}), 1);
    start(victim);
    ASSERT_TRUE(isReady(victim));
    EXPECT_TRUE(waitForPhase(name(watcher), endpoint(victim), "up"));
    ASSERT_TRUE(process(watcher).waitForNextOutput("p: up: " + endpoint(victim)));
    EXPECT_THAT(call({"ask", name(watcher), endpoint(victim)}).out, HasSubstr("weather.Temperature"));
  }
  for (std::size_t index = 0; index < size; ++index) {
    end(process(index));
  }
}

TEST_F(ARingOfThreeHosts, RecoversWhenAllHostsButOneAreKilledAtOnce) {
  for (std::size_t index = 0; index < size; ++index) {
    start(index);
  }
  ASSERT_TRUE(isReady(0) && isReady(1) && isReady(2));
  process(1).signal(SIGKILL);
  process(2).signal(SIGKILL);
  process(1).wait();
  process(2).wait();
  EXPECT_TRUE(waitForPhase(name(0), endpoint(1), "lost"));
  start(2);
  start(1);
  ASSERT_TRUE(isReady(1) && isReady(2));
  EXPECT_TRUE(waitForPhase(name(0), endpoint(1), "up"));
  for (std::size_t index = 0; index < size; ++index) {
    end(process(index));
  }
}

// A host that was killed leaves its socket and its lock; the next host of that name takes them over.
class AKilledHost : public EndToEnd {
 protected:
  std::string peerFile() const {
    return write("peer.json", Configuration("peer").publisher("p", {peerEndpoint_}, {endpoint_}));
  }
  std::string file() const {
    return write("victim.json", Configuration("victim").publisher("p", {endpoint_}, {peerEndpoint_}));
  }

  // The same name and endpoint work again, and a peer that was connected is so again.
  void checkSuccessor(Process& peer) {
    EXPECT_EQ(codeOf({"status", "victim"}), 1);
    EXPECT_THAT(call({"status"}).out, testing::Not(HasSubstr("victim")));
    Process successor(host(file()));
    EXPECT_EQ(codeOf({"status", "victim", "--wait", "ready"}), 0);
    EXPECT_EQ(status("victim")["host"]["process"], successor.id());
    EXPECT_TRUE(waitForPhase("peer", endpoint_, "up"));
    end(successor);
    end(peer);
  }

  const std::string endpoint_ = freeEndpoint();
  const std::string peerEndpoint_ = freeEndpoint();
};

TEST_F(AKilledHost, BeforeItsPublicationIsReplaced) {
  Process victim(host(file()));
  ASSERT_TRUE(askUntil([&] { return std::filesystem::exists(lockOf("victim")); }));
  killNow(victim);
  EXPECT_THAT(leftOver(), testing::Contains("victim.lock"));
  Process peer(host(peerFile()));
  checkSuccessor(peer);
}

TEST_F(AKilledHost, WhileItWaitsIsReplaced) {
  Process victim(host(file()));
  ASSERT_TRUE(victim.waitForOutput("p: to connect " + peerEndpoint_));
  ASSERT_TRUE(waitForState("victim", "waiting"));
  killNow(victim);
  EXPECT_THAT(leftOver(), UnorderedElementsAre("victim.lock", "victim.sock"));
  Process peer(host(peerFile()));
  checkSuccessor(peer);
}

TEST_F(AKilledHost, ThatWasReadyIsReplaced) {
  Process victim(host(file()));
  Process peer(host(peerFile()));
  ASSERT_TRUE(victim.waitForOutput("ready: victim"));
  ASSERT_TRUE(peer.waitForOutput("ready: peer"));
  killNow(victim);
  EXPECT_TRUE(waitForPhase("peer", endpoint_, "lost"));
  checkSuccessor(peer);
}

TEST_F(AKilledHost, DuringAnApplyIsReplacedAndTheClientGetsOne) {
  const auto nobody = freeEndpoint();
  Process victim(host(file()));
  Process peer(host(peerFile()));
  ASSERT_TRUE(victim.waitForOutput("ready: victim"));
  ASSERT_TRUE(peer.waitForOutput("ready: peer"));
  const auto next = write("next.json", Configuration("victim").publisher("p", {endpoint_}, {peerEndpoint_, nobody}));
  Process apply(client({"apply", "victim", next}));
  ASSERT_TRUE(waitForRevision("victim", 2));
  killNow(victim);
  const auto result = resultOf(apply);
  EXPECT_EQ(result.code, 1);
  EXPECT_THAT(result.err, HasSubstr("the connection to host 'victim' was lost"));
  EXPECT_TRUE(waitForPhase("peer", endpoint_, "lost"));
  checkSuccessor(peer);
}

TEST_F(AKilledHost, DuringItsWithdrawalIsReplacedAndTheClientGetsOne) {
  makeTree();
  addBundle(BLOCKING_BUNDLE);
  Barrier barrier((workspace_.path() / "barrier").string());
  Process victim(withEnvironment({"SPFCTL_TEST_BARRIER=" + barrier.file()},
                                 host(file(), {"--root", (workspace_.path() / "tree").string()})));
  Process peer(host(peerFile()));
  ASSERT_TRUE(victim.waitForOutput("ready: victim")) << victim.err();
  ASSERT_TRUE(peer.waitForOutput("ready: peer"));
  barrier.raise();
  Process withdraw(client({"withdraw", "victim"}));
  ASSERT_TRUE(waitForState("victim", "withdrawing"));
  killNow(victim);
  EXPECT_EQ(withdraw.wait(), 1) << withdraw.out() << withdraw.err();
  checkSuccessor(peer);
}

TEST_F(AKilledHost, IsReplacedManyTimesInARow) {
  Process peer(host(peerFile()));
  for (int round = 0; round < 8; ++round) {
    Process victim(host(file()));
    ASSERT_TRUE(victim.waitForOutput("ready: victim")) << victim.err();
    killNow(victim);
  }
  checkSuccessor(peer);
}

TEST_F(AKilledHost, IsReplacedByOneOfSeveralSuccessorsOnly) {
  const auto victimFile = file();
  Process victim(host(victimFile));
  ASSERT_TRUE(victim.waitForOutput("p: to connect"));
  killNow(victim);
  std::vector<std::unique_ptr<Process>> rivals;
  for (int index = 0; index < 6; ++index) {
    rivals.push_back(std::make_unique<Process>(host(victimFile)));
  }
  // The winner waits for its peer as long as all the others need to fail.
  ASSERT_TRUE(waitForState("victim", "waiting"));
  const auto winner = status("victim")["host"]["process"];
  for (auto& rival : rivals) {
    if (rival->id() != winner) {
      EXPECT_EQ(rival->wait(), 1);
      EXPECT_THAT(rival->err(), HasSubstr("a host named 'victim' runs already: "));
    }
  }
  Process peer(host(peerFile()));
  for (auto& rival : rivals) {
    if (rival->id() == winner) {
      ASSERT_TRUE(rival->waitForOutput("ready: victim"));
      end(*rival);
    }
  }
  end(peer);
}

}  // namespace spf::test
