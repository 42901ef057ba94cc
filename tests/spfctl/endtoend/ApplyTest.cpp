#include <algorithm>
#include <atomic>
#include <csignal>
#include <memory>
#include <thread>

#include "EndToEnd.hpp"

namespace spf::test {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

/// Asks a host's peer again and again, in a thread of its own.
class Questions {
 public:
  explicit Questions(std::function<bool()> ask)
      : thread_([this, ask = std::move(ask)] {
          while (!isEnding_) {
            ++(ask() ? answered_ : lost_);
          }
        }) {}
  ~Questions() { finish(); }
  Questions(const Questions&) = delete;
  Questions& operator=(const Questions&) = delete;

  void finish() {
    isEnding_ = true;
    if (thread_.joinable()) {
      thread_.join();
    }
  }
  int answered() const { return answered_; }
  int lost() const { return lost_; }

 private:
  std::atomic<bool> isEnding_{false};
  std::atomic<int> answered_{0};
  std::atomic<int> lost_{0};
  std::thread thread_;
};

// A host "x" whose endpoint is kept, and a host "user" that is connected to it.
class AnApply : public EndToEnd {
 protected:
  Configuration kept() const {
    return Configuration("x").publisher("p", {endpoint_}).interface("t", "weather.Temperature");
  }
  void start() {
    process_ = std::make_unique<Process>(host(write("x.json", kept()), extra_));
    user_ = std::make_unique<Process>(host(write("user.json", Configuration("user").publisher("u", {}, {endpoint_}))));
    ASSERT_EQ(codeOf({"status", "user", "--wait", "ready"}), 0) << process_->err();
    ASSERT_EQ(codeOf({"status", "x", "--wait", "ready"}), 0);
  }
  /// Ends the host that stands for the other side. It may be ready a moment after the one that connects to it.
  void endPeer(Process& peer) {
    EXPECT_EQ(codeOf({"status", "peer", "--wait", "ready"}), 0);
    end(peer);
  }

  void endBoth() {
    end(*user_);
    end(*process_);
  }
  Result apply(const Configuration& configuration, const Arguments& more = {}) const {
    Arguments arguments = {"apply", "x", write("next.json", configuration)};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return call(arguments);
  }
  void expectOldContent(unsigned revision) const {
    auto answer = status("x");
    EXPECT_EQ(answer["configuration"]["revision"], revision);
    EXPECT_EQ(answer["configuration"]["state"], "ready");
    EXPECT_EQ(answer["publishers"].size(), 1u);
    EXPECT_EQ(endpointsOf(answer).size(), 1u);
    EXPECT_EQ(recordOf(answer, endpoint_)["phase"], "up");
  }
  bool isAnswered() const { return call({"ask", "user", endpoint_}).out.find("p publishes") != std::string::npos; }
  // The connection was never lost: its record is the first one.
  std::string connectedSince() const { return recordOf(status("user"), endpoint_)["tries"].dump(); }
  void expectConnectionWasKept() {
    EXPECT_THAT(user_->out(), Not(HasSubstr("lost")));
    EXPECT_TRUE(isAnswered());
  }

  const std::string endpoint_ = freeEndpoint();
  Arguments extra_;
  std::unique_ptr<Process> process_;
  std::unique_ptr<Process> user_;
};

TEST_F(AnApply, LosesNoAnswerOfAKeptEndpointInFortyRevisions) {
  start();
  Questions questions([this] { return isAnswered(); });
  const auto added = freeEndpoint();
  for (unsigned round = 0; round < 40; ++round) {
    Configuration next("x");
    next.publisher("p", round % 2 == 0 ? Configuration::Texts{endpoint_, added} : Configuration::Texts{endpoint_}, {},
                   round % 4 < 2 ? "" : "(site=north)");
    next.interface(round % 5 < 3 ? "t" : "h", round % 5 < 3 ? "weather.Temperature" : "weather.Humidity");
    if (round % 3 == 0) {
      next.publisher("q", {freeEndpoint()});
    }
    const auto result = apply(next);
    ASSERT_EQ(result.code, 0) << round << result.err;
    EXPECT_EQ(result.out, "ready: x, revision " + std::to_string(round + 2) + "\n");
    // What is bound is open before the answer; what is left is closed soon after it.
    const bool isBound = round % 2 == 0;
    EXPECT_TRUE(isBound ? isOpen(added) : askUntil([&] { return !isOpen(added); })) << round;
  }
  questions.finish();
  EXPECT_GT(questions.answered(), 0);
  EXPECT_EQ(questions.lost(), 0);
  expectConnectionWasKept();
  endBoth();
}

TEST_F(AnApply, OfTheHostThatAsksLosesNoAnswerEither) {
  start();
  Questions questions([this] { return isAnswered(); });
  for (unsigned round = 0; round < 30; ++round) {
    Configuration next("user");
    next.publisher("u", round % 2 == 0 ? Configuration::Texts{freeEndpoint()} : Configuration::Texts{}, {endpoint_});
    const auto result = call({"apply", "user", write("next.json", next)});
    ASSERT_EQ(result.code, 0) << result.err;
    EXPECT_EQ(result.out, "ready: user, revision " + std::to_string(round + 2) + "\n");
  }
  questions.finish();
  EXPECT_GT(questions.answered(), 0);
  EXPECT_EQ(questions.lost(), 0);
  expectConnectionWasKept();
  endBoth();
}

TEST_F(AnApply, IsQueuedBehindThoseOfOtherClients) {
  start();
  constexpr int count = 8;
  std::vector<std::unique_ptr<Process>> clients;
  for (int index = 0; index < count; ++index) {
    const auto file = write("next" + std::to_string(index) + ".json", kept().publisher("q", {freeEndpoint()}));
    clients.push_back(std::make_unique<Process>(client({"apply", "x", file})));
  }
  std::vector<std::string> answers;
  std::vector<std::string> expected;
  for (int index = 0; index < count; ++index) {
    EXPECT_EQ(clients[index]->wait(), 0) << clients[index]->err();
    answers.push_back(clients[index]->out());
    expected.push_back("ready: x, revision " + std::to_string(index + 2) + "\n");
  }
  EXPECT_THAT(answers, testing::UnorderedElementsAreArray(expected));
  EXPECT_EQ(status("x")["configuration"]["revision"], count + 1);
  // The host itself has published them one after the other.
  for (const auto& line : expected) {
    ASSERT_TRUE(process_->waitForNextOutput(line));
  }
  expectConnectionWasKept();
  endBoth();
}

TEST_F(AnApply, WaitsForTheOneBeforeIt) {
  start();
  const auto later = freeEndpoint();
  Process first(client({"apply", "x", write("first.json", kept().publisher("q", {}, {later}))}));
  ASSERT_TRUE(waitForRevision("x", 2));
  Process second(client({"apply", "x", write("second.json", kept())}));
  Process peer(host(write("peer.json", Configuration("peer").publisher("p", {later}))));
  EXPECT_EQ(first.wait(), 0) << first.err();
  EXPECT_EQ(first.out(), "ready: x, revision 2\n");
  EXPECT_EQ(second.wait(), 0) << second.err();
  EXPECT_EQ(second.out(), "ready: x, revision 3\n");
  endPeer(peer);
  endBoth();
}

TEST_F(AnApply, WhoseClientIsKilledIsCarriedOutAllTheSame) {
  start();
  const auto later = freeEndpoint();
  Process apply(client({"apply", "x", write("first.json", kept().publisher("q", {}, {later}))}));
  ASSERT_TRUE(waitForRevision("x", 2));
  killNow(apply);
  Process peer(host(write("peer.json", Configuration("peer").publisher("p", {later}))));
  EXPECT_EQ(codeOf({"status", "x", "--wait", "ready"}), 0);
  EXPECT_EQ(codeOf({"apply", "x", write("next.json", kept())}), 0);
  expectOldContent(3);
  endPeer(peer);
  endBoth();
}

TEST_F(AnApply, GoesBackWhenAnEndpointIsNotConnectedInTime) {
  start();
  const auto nobody = freeEndpoint();
  const auto result = apply(kept().publisher("q", {}, {nobody}), {"--rollback", "--timeout", "300ms"});
  EXPECT_EQ(result.code, 4);
  EXPECT_THAT(result.err, HasSubstr("revision 2 is not ready in time"));
  EXPECT_THAT(result.err, HasSubstr("q: to connect " + nobody));
  EXPECT_THAT(result.err, HasSubstr("rolled back: revision 3 has the old content, ready"));
  expectOldContent(3);
  expectConnectionWasKept();
  endBoth();
}

TEST_F(AnApply, GoesBackWhenNobodyOffersTheInterface) {
  start();
  const auto result = apply(Configuration("x").publisher("p", {endpoint_}).interface("t", "no.Such"), {"--rollback"});
  EXPECT_EQ(result.code, 5);
  EXPECT_THAT(result.err, HasSubstr("revision 2 was refused by the framework"));
  EXPECT_THAT(result.err, HasSubstr("no.Such"));
  EXPECT_THAT(result.err, HasSubstr("rolled back: revision 3 has the old content, ready"));
  expectOldContent(3);
  expectConnectionWasKept();
  endBoth();
}

TEST_F(AnApply, GoesBackAgainAndAgainWithoutALossOfTheConnection) {
  start();
  Questions questions([this] { return isAnswered(); });
  for (unsigned round = 0; round < 10; ++round) {
    EXPECT_EQ(apply(kept().publisher("q", {"tcp://127.0.0.1:port"}), {"--rollback"}).code, 5);
    expectOldContent(3 + 2 * round);
  }
  questions.finish();
  EXPECT_EQ(questions.lost(), 0);
  expectConnectionWasKept();
  endBoth();
}

TEST_F(AnApply, KeepsTheNewContentWithoutRollback) {
  start();
  const auto later = freeEndpoint();
  EXPECT_EQ(apply(kept().publisher("q", {}, {later}), {"--timeout", "200ms"}).code, 4);
  auto answer = status("x");
  EXPECT_EQ(answer["configuration"]["revision"], 2);
  EXPECT_EQ(answer["configuration"]["state"], "waiting");
  Process peer(host(write("peer.json", Configuration("peer").publisher("p", {later}))));
  EXPECT_EQ(codeOf({"status", "x", "--wait", "ready"}), 0);
  endPeer(peer);
  endBoth();
}

TEST_F(AnApply, OfAnotherConfigurationIDIsRefusedWithThree) {
  start();
  const auto result = apply(Configuration("y").publisher("p", {endpoint_}));
  EXPECT_EQ(result.code, 3);
  EXPECT_THAT(result.err, HasSubstr("configurationID 'y'; expected 'x' or none"));
  expectOldContent(1);
  expectConnectionWasKept();
  endBoth();
}

TEST_F(AnApply, OfAFileThatCannotBeReadIsRefusedWithThree) {
  start();
  EXPECT_EQ(codeOf({"apply", "x", workspace_.write("bad.json", "{\"servicePublishers\": 7}")}), 3);
  EXPECT_EQ(codeOf({"apply", "x", workspace_.path().string()}), 3);
  expectOldContent(1);
  endBoth();
}

// A bundle that cannot be started lets the publication fail, which costs the configuration its ID.
class AnApplyWithABrokenBundle : public AnApply {
 protected:
  AnApplyWithABrokenBundle() { extra_ = {"--root", makeTree()}; }
};

TEST_F(AnApplyWithABrokenBundle, GetsOneAndTheNextOneSucceedsWhenTheBundleIsGone) {
  start();
  const auto bundle = addBundle(THROWING_BUNDLE);
  const auto result = apply(kept().publisher("q", {freeEndpoint()}));
  EXPECT_EQ(result.code, 1);
  EXPECT_THAT(result.err, HasSubstr("the configuration cannot be published: "));
  EXPECT_THAT(result.err, HasSubstr("the activator refuses"));
  EXPECT_EQ(codeOf({"status", "x"}), 0) << "the host stays";
  EXPECT_EQ(codeOf({"apply", "x", write("again.json", kept())}), 1) << "still broken";
  std::filesystem::remove(bundle);
  const auto next = apply(kept().publisher("q", {freeEndpoint()}));
  EXPECT_EQ(next.code, 0) << next.err;
  EXPECT_TRUE(waitForPhase("user", endpoint_, "up"));
  EXPECT_TRUE(askUntil([this] { return isAnswered(); }));
  EXPECT_EQ(status("x")["publishers"].size(), 2u);
  endBoth();
}

// Nobody can withdraw what was published under the lost ID; it ends with the host, which says so.
TEST_F(AnApplyWithABrokenBundle, LetsTheHostEndAllTheSame) {
  start();
  addBundle(THROWING_BUNDLE);
  EXPECT_EQ(apply(kept().publisher("q", {freeEndpoint()})).code, 1);
  auto answer = status("x");
  EXPECT_EQ(answer["configuration"]["state"], "lost");
  EXPECT_THAT(answer["configuration"]["lastError"].dump(), HasSubstr("the activator refuses"));
  EXPECT_EQ(codeOf({"withdraw", "x"}), 4);
  EXPECT_EQ(process_->wait(), 1) << process_->err();
  EXPECT_THAT(process_->err(), HasSubstr("spfctl: the lost configuration cannot be withdrawn; it ends with the host"));
  EXPECT_FALSE(isOpen(endpoint_));
  end(*user_);
}

TEST_F(AnApply, LeadsToWarningsOfAskersOfPublishersThatItRemoves) {
  Process process(host(write("x.json", kept()), {"--property", R"(spf.curve.allow={"p": [], "other": []})"}));
  ASSERT_TRUE(process.waitForOutput("ready: x")) << process.err();
  EXPECT_EQ(codeOf({"apply", "x", write("renamed.json", Configuration("x").publisher("other", {endpoint_}))}), 0);
  end(process);
  const std::string begin = "spfctl: warning: spf.curve.allow: no publisher of the configuration has the ID ";
  EXPECT_EQ(process.err(),
            begin + "'other', so its entry protects none\n" + begin + "'p', so its entry protects none\n");
}

}  // namespace spf::test
