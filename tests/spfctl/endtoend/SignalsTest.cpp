#include <csignal>

#include "EndToEnd.hpp"

namespace spf::test {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

class AHostThatGetsASignal : public EndToEnd {
 protected:
  Configuration ready() const { return Configuration("x").publisher("p", {endpoint_}); }
  Configuration waiting() const { return Configuration("x").publisher("p", {endpoint_}, {nobody_}); }
  std::string file(const Configuration& configuration) const { return write("x.json", configuration); }

  const std::string endpoint_ = freeEndpoint();
  const std::string nobody_ = freeEndpoint();
};

class AHostThatIsEndedByASignal : public AHostThatGetsASignal, public testing::WithParamInterface<int> {};

INSTANTIATE_TEST_SUITE_P(Number, AHostThatIsEndedByASignal, testing::Values(SIGINT, SIGTERM),
                         [](const auto& number) { return number.param == SIGINT ? "SIGINT" : "SIGTERM"; });

TEST_P(AHostThatIsEndedByASignal, AtItsVeryBeginningLeavesNothingBehind) {
  Process process(host(file(waiting())));
  process.signal(GetParam());
  const int code = process.wait();
  // Killed by the signal if it came before the process listened for signals.
  EXPECT_TRUE(code == 128 + GetParam() || code == 1000 + GetParam()) << code;
  EXPECT_FALSE(isOpen(endpoint_));
}

TEST_P(AHostThatIsEndedByASignal, AsSoonAsItHasItsNameLeavesNothingBehind) {
  Process process(host(file(waiting())));
  ASSERT_TRUE(askUntil([&] { return std::filesystem::exists(lockOf("x")); }));
  process.signal(GetParam());
  EXPECT_EQ(process.wait(), 128 + GetParam()) << process.err();
  EXPECT_FALSE(isOpen(endpoint_));
}

TEST_P(AHostThatIsEndedByASignal, AsSoonAsItsSocketIsThereLeavesNothingBehind) {
  Process process(host(file(waiting())));
  ASSERT_TRUE(askUntil([&] { return RawClient(socketOf("x")).isConnected(); }));
  process.signal(GetParam());
  EXPECT_EQ(process.wait(), 128 + GetParam()) << process.err();
  EXPECT_FALSE(isOpen(endpoint_));
}

TEST_P(AHostThatIsEndedByASignal, WhileItWaitsWithdraws) {
  Process process(host(file(waiting())));
  ASSERT_TRUE(process.waitForOutput("p: to connect"));
  Process client1(client({"status", "x", "--wait", "withdrawn"}));
  process.signal(GetParam());
  EXPECT_EQ(process.wait(), 128 + GetParam()) << process.err();
  EXPECT_THAT(process.out(), HasSubstr("withdrawn\n"));
  EXPECT_EQ(client1.wait(), 0) << client1.err();
  EXPECT_FALSE(isOpen(endpoint_));
}

TEST_P(AHostThatIsEndedByASignal, WhenItIsReadyWithdrawsAndEndsWithZero) {
  Process process(host(file(ready())));
  ASSERT_TRUE(process.waitForOutput("ready: x"));
  process.signal(GetParam());
  EXPECT_EQ(process.wait(), 0) << process.err();
  EXPECT_FALSE(isOpen(endpoint_));
}

TEST_P(AHostThatIsEndedByASignal, DuringAnApplyAnswersTheClientAndEndsWithZero) {
  Process process(host(file(ready())));
  ASSERT_TRUE(process.waitForOutput("ready: x"));
  Process apply(client({"apply", "x", write("next.json", waiting()), "--rollback"}));
  ASSERT_TRUE(waitForRevision("x", 2));
  Process queued(client({"apply", "x", file(ready())}));
  process.signal(GetParam());
  EXPECT_EQ(process.wait(), 0) << process.err();
  EXPECT_EQ(apply.wait(), 1);
  EXPECT_THAT(apply.err(), HasSubstr("the host is ending"));
  EXPECT_EQ(queued.wait(), 1) << "ended with the host, whether it was queued or came too late";
  EXPECT_THAT(process.out(), Not(HasSubstr("rolled back")));
  EXPECT_FALSE(isOpen(endpoint_));
}

// A listener of the framework that blocks holds up the withdrawal.
class AHostThatIsHeldUp : public AHostThatGetsASignal {
 protected:
  AHostThatIsHeldUp() : barrier_((workspace_.path() / "barrier").string()) {
    root_ = makeTree();
    addBundle(BLOCKING_BUNDLE);
  }
  Arguments heldUpHost() const {
    return withEnvironment({"SPFCTL_TEST_BARRIER=" + barrier_.file()}, host(file(ready()), {"--root", root_}));
  }
  // Even though a host that had to end at once has cleared nothing away.
  void expectFreeName() const {
    Process next(host(file(ready())));
    ASSERT_TRUE(next.waitForOutput("ready: x"));
    end(next);
  }

  Barrier barrier_;
  std::string root_;
};

TEST_F(AHostThatIsHeldUp, EndsInTimeAfterTheFirstSignalAndSaysWhatIsLeft) {
  Process process(heldUpHost());
  ASSERT_TRUE(process.waitForOutput("ready: x")) << process.err();
  barrier_.raise();
  process.signal(SIGTERM);
  ASSERT_TRUE(process.waitForErrorOutput("spfctl: not unpublished in time: p"));
  // The blocked listener holds up the framework's end as well, which the signal's limit ends.
  EXPECT_THAT(process.wait(), testing::AnyOf(1, 128 + SIGTERM));
  barrier_.lower();
  expectFreeName();
}

TEST_F(AHostThatIsHeldUp, EndsAtOnceAtTheSecondSignal) {
  Process process(heldUpHost());
  ASSERT_TRUE(process.waitForOutput("ready: x")) << process.err();
  barrier_.raise();
  process.signal(SIGINT);
  ASSERT_TRUE(waitForState("x", "withdrawing"));
  process.signal(SIGTERM);
  EXPECT_EQ(process.wait(), 128 + SIGINT);
  barrier_.lower();
  expectFreeName();
}

TEST_F(AHostThatIsHeldUp, WithdrawsWhenItGoesOnAfterASignalDuringItsWithdrawal) {
  Process process(heldUpHost());
  ASSERT_TRUE(process.waitForOutput("ready: x")) << process.err();
  barrier_.raise();
  Process withdraw(client({"withdraw", "x"}));
  ASSERT_TRUE(waitForState("x", "withdrawing"));
  process.signal(SIGINT);
  barrier_.lower();
  EXPECT_EQ(withdraw.wait(), 0) << withdraw.err();
  EXPECT_EQ(process.wait(), 0) << process.err();
  EXPECT_THAT(process.out(), HasSubstr("withdrawn\n"));
}

TEST_F(AHostThatIsHeldUp, IgnoresAReloadDuringItsWithdrawal) {
  Process process(heldUpHost());
  ASSERT_TRUE(process.waitForOutput("ready: x")) << process.err();
  barrier_.raise();
  Process withdraw(client({"withdraw", "x"}));
  ASSERT_TRUE(waitForState("x", "withdrawing"));
  process.signal(SIGHUP);
  process.signal(SIGHUP);
  EXPECT_EQ(status("x")["configuration"]["state"], "withdrawing");
  barrier_.lower();
  EXPECT_EQ(withdraw.wait(), 0) << withdraw.err();
  EXPECT_EQ(process.wait(), 0) << process.err();
}

TEST_F(AHostThatIsHeldUp, AnswersOtherClientsDuringItsWithdrawal) {
  Process process(heldUpHost());
  ASSERT_TRUE(process.waitForOutput("ready: x")) << process.err();
  barrier_.raise();
  Process withdraw(client({"withdraw", "x"}));
  ASSERT_TRUE(waitForState("x", "withdrawing"));
  EXPECT_THAT(call({"status", "x"}).out, HasSubstr("x: withdrawing"));
  Process late(client({"apply", "x", file(ready())}));
  Process another(client({"withdraw", "x"}));
  EXPECT_EQ(codeOf({"status", "x", "--wait", "ready", "--timeout", "100ms"}), 4);
  barrier_.lower();
  EXPECT_EQ(withdraw.wait(), 0) << withdraw.err();
  EXPECT_EQ(late.wait(), 1) << late.out();
  EXPECT_EQ(process.wait(), 0) << process.err();
  EXPECT_LE(another.wait(), 1);
}

class AHostThatIsToReload : public AHostThatGetsASignal {};

TEST_F(AHostThatIsToReload, TakesTheEndpointThatWasAddedToItsFile) {
  const auto added = freeEndpoint();
  Process process(host(file(ready())));
  ASSERT_TRUE(process.waitForOutput("ready: x"));
  file(ready().publisher("q", {added}));
  process.signal(SIGHUP);
  ASSERT_TRUE(process.waitForOutput("ready: x, revision 2"));
  EXPECT_TRUE(isOpen(added));
  EXPECT_TRUE(isOpen(endpoint_));
  end(process);
  EXPECT_FALSE(isOpen(added));
}

TEST_F(AHostThatIsToReload, GoesOnAndSaysWhyWhenItsFileIsInvalid) {
  Process process(host(file(ready())));
  ASSERT_TRUE(process.waitForOutput("ready: x"));
  workspace_.write("x.json", "{\"configurationID\": ");
  process.signal(SIGHUP);
  ASSERT_TRUE(process.waitForErrorOutput("x.json' has errors"));
  ASSERT_TRUE(process.waitForErrorOutput("x.json:1:"));
  EXPECT_TRUE(isOpen(endpoint_));
  EXPECT_EQ(status("x")["configuration"]["revision"], 1);
  EXPECT_EQ(status("x")["configuration"]["state"], "ready");
  file(ready());
  process.signal(SIGHUP);
  ASSERT_TRUE(process.waitForOutput("ready: x, revision 2"));
  end(process);
}

TEST_F(AHostThatIsToReload, GoesOnAndSaysWhyWhenItsFileIsGone) {
  Process process(host(file(ready())));
  ASSERT_TRUE(process.waitForOutput("ready: x"));
  std::filesystem::remove(workspace_.path() / "x.json");
  process.signal(SIGHUP);
  ASSERT_TRUE(process.waitForErrorOutput("cannot reload: "));
  ASSERT_TRUE(process.waitForErrorOutput("No such file or directory"));
  EXPECT_TRUE(isOpen(endpoint_));
  end(process);
}

TEST_F(AHostThatIsToReload, GoesOnAndSaysWhyWhenItsFileHasAnotherID) {
  Process process(host(file(ready())));
  ASSERT_TRUE(process.waitForOutput("ready: x"));
  file(Configuration("y").publisher("p", {endpoint_}));
  process.signal(SIGHUP);
  ASSERT_TRUE(process.waitForErrorOutput("has the configurationID 'y'; expected 'x' or none"));
  EXPECT_EQ(status("x")["configuration"]["revision"], 1);
  end(process);
}

TEST_F(AHostThatIsToReload, SaysThatItCannotWhenItHasReadStandardInput) {
  const auto input = file(ready());
  Process process(
      {"/bin/sh", "-c", "exec '" SPFCTL "' run - --control-dir '" + control().string() + "' < '" + input + "'"});
  ASSERT_TRUE(process.waitForOutput("ready: x")) << process.err();
  process.signal(SIGHUP);
  ASSERT_TRUE(process.waitForErrorOutput("cannot reload: the configuration was read from standard input"));
  EXPECT_EQ(status("x")["configuration"]["revision"], 1);
  // A file that is applied takes its place.
  const auto applied = write("applied.json", ready().publisher("q", {freeEndpoint()}));
  EXPECT_EQ(codeOf({"apply", "x", applied}), 0);
  write("applied.json", ready());
  process.signal(SIGHUP);
  ASSERT_TRUE(process.waitForOutput("ready: x, revision 3"));
  end(process);
}

TEST_F(AHostThatIsToReload, ReadsTheFileThatWasAppliedLast) {
  Process process(host(file(ready())));
  ASSERT_TRUE(process.waitForOutput("ready: x"));
  const auto applied = write("applied.json", ready().publisher("q", {freeEndpoint()}));
  ASSERT_EQ(codeOf({"apply", "x", applied}), 0);
  write("applied.json", ready().publisher("r", {freeEndpoint()}));
  process.signal(SIGHUP);
  ASSERT_TRUE(process.waitForOutput("ready: x, revision 3"));
  auto answer = status("x");
  EXPECT_EQ(answer["configuration"]["file"], applied);
  EXPECT_EQ(answer["publishers"][1]["id"], "r");
  end(process);
}

TEST_F(AHostThatIsToReload, TakesTheLastContentAfterManySignals) {
  Process process(host(file(ready())));
  ASSERT_TRUE(process.waitForOutput("ready: x"));
  for (int round = 0; round < 20; ++round) {
    file(ready().publisher("q" + std::to_string(round), {freeEndpoint()}));
    process.signal(SIGHUP);
  }
  EXPECT_TRUE(waitForStatus("x", [](const json& answer) {
    return answer["configuration"]["state"] == "ready" && answer["publishers"].size() == 2 &&
           answer["publishers"][1]["id"] == "q19";
  }));
  end(process);
}

TEST_F(AHostThatIsToReload, DoesSoAfterASignalAtItsBeginning) {
  Process process(host(file(ready())));
  ASSERT_TRUE(askUntil([&] { return std::filesystem::exists(lockOf("x")); }));
  process.signal(SIGHUP);
  ASSERT_TRUE(process.waitForOutput("ready: x, revision 2")) << process.err();
  end(process);
}

TEST_F(AHostThatIsToReload, DoesSoWhenItIsReadyAfterASignalWhileItWaited) {
  const auto peerEndpoint = freeEndpoint();
  const auto added = freeEndpoint();
  Process process(host(file(Configuration("x").publisher("p", {endpoint_}, {peerEndpoint}))));
  ASSERT_TRUE(process.waitForOutput("p: to connect"));
  file(Configuration("x").publisher("p", {endpoint_, added}, {peerEndpoint}));
  process.signal(SIGHUP);
  Process peer(host(write("peer.json", Configuration("peer").publisher("p", {peerEndpoint}))));
  ASSERT_TRUE(process.waitForOutput("ready: x, revision 2"));
  EXPECT_TRUE(isOpen(added));
  end(process);
  end(peer);
}

TEST_F(AHostThatIsToReload, DoesSoAfterAnApplyThatWasUnderWay) {
  Process process(host(file(ready())));
  ASSERT_TRUE(process.waitForOutput("ready: x"));
  const auto peerEndpoint = freeEndpoint();
  const auto next = write("next.json", Configuration("x").publisher("p", {endpoint_}, {peerEndpoint}));
  Process apply(client({"apply", "x", next}));
  ASSERT_TRUE(waitForRevision("x", 2));
  process.signal(SIGHUP);
  Process peer(host(write("peer.json", Configuration("peer").publisher("p", {peerEndpoint}))));
  EXPECT_EQ(apply.wait(), 0) << apply.err();
  ASSERT_TRUE(process.waitForOutput("ready: x, revision 3"));
  EXPECT_EQ(status("x")["configuration"]["file"], next);
  end(process);
  end(peer);
}

}  // namespace spf::test
