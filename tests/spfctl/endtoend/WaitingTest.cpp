#include <csignal>

#include "EndToEnd.hpp"

namespace spf::test {

using testing::HasSubstr;

class AClientThatWaits : public EndToEnd {
 protected:
  std::string file(const Configuration::Texts& connect = {}) const {
    return write("x.json", Configuration("x").publisher("p", {endpoint_}, connect));
  }

  const std::string endpoint_ = freeEndpoint();
};

TEST_F(AClientThatWaits, ForReadinessMayStartBeforeTheHost) {
  Process client1(client({"status", "x", "--wait", "ready"}));
  Process client2(client({"status", "x", "--wait", "ready", "--json"}));
  Process process(host(file()));
  EXPECT_EQ(client1.wait(), 0) << client1.err();
  EXPECT_THAT(client1.out(), HasSubstr("x: ready"));
  EXPECT_EQ(client2.wait(), 0) << client2.err();
  EXPECT_THAT(client2.out(), HasSubstr("\"state\": \"ready\""));
  end(process);
}

TEST_F(AClientThatWaits, ForReadinessGetsFourWhenThereIsNoHost) {
  const auto result = call({"status", "x", "--wait", "ready", "--timeout", "200ms"});
  EXPECT_EQ(result.code, 4);
  EXPECT_THAT(result.err, HasSubstr("no host named 'x'"));
}

TEST_F(AClientThatWaits, ForReadinessGetsFourWhenTheHostIsNotReadyInTime) {
  const auto peer = freeEndpoint();
  Process process(host(file({peer})));
  ASSERT_TRUE(process.waitForOutput("p: to connect"));
  EXPECT_EQ(codeOf({"status", "x", "--wait", "ready", "--timeout", "200ms"}), 4);
  EXPECT_EQ(codeOf({"status", "x", "--wait", "withdrawn", "--timeout", "200ms"}), 4);
  process.signal(SIGTERM);
  EXPECT_EQ(process.wait(), 128 + SIGTERM);
}

TEST_F(AClientThatWaits, ForReadinessIsAnsweredWhenThePeerArrives) {
  const auto peerEndpoint = freeEndpoint();
  Process process(host(file({peerEndpoint})));
  ASSERT_TRUE(process.waitForOutput("p: to connect"));
  Process waiting(client({"status", "x", "--wait", "ready"}));
  Process peer(host(write("peer.json", Configuration("peer").publisher("p", {peerEndpoint}))));
  EXPECT_EQ(waiting.wait(), 0) << waiting.err();
  end(process);
  end(peer);
}

TEST_F(AClientThatWaits, ForReadinessOutlivesAHostThatIsKilledAndFindsTheNextOne) {
  Process first(host(file({freeEndpoint()})));
  ASSERT_TRUE(waitForState("x", "waiting"));
  Process waiting(client({"status", "x", "--wait", "ready"}));
  killNow(first);
  Process second(host(file()));
  const int code = waiting.wait();
  // A connection that is lost is an error, as everywhere; a client that was not connected yet goes on.
  EXPECT_TRUE(code == 0 || code == 1) << code << waiting.err();
  EXPECT_EQ(codeOf({"status", "x", "--wait", "ready"}), 0);
  end(second);
}

TEST_F(AClientThatWaits, ForTheWithdrawalOfAHostThatIsGoneGetsZeroAtOnce) {
  EXPECT_EQ(codeOf({"status", "x", "--wait", "withdrawn"}), 0);
}

TEST_F(AClientThatWaits, ForTheWithdrawalOfAHostThatIsKilledGetsZero) {
  Process process(host(file()));
  ASSERT_TRUE(process.waitForOutput("ready: x"));
  Process waiting(client({"status", "x", "--wait", "withdrawn"}));
  killNow(process);
  EXPECT_EQ(waiting.wait(), 0) << waiting.err();
  EXPECT_EQ(codeOf({"status", "x", "--wait", "withdrawn"}), 0) << "what is left over is no host";
  Process next(host(file()));
  ASSERT_TRUE(next.waitForOutput("ready: x"));
  end(next);
}

TEST_F(AClientThatWaits, ForTheWithdrawalOfAHostThatWithdrawsGetsZero) {
  Process process(host(file()));
  ASSERT_TRUE(process.waitForOutput("ready: x"));
  Process waiting(client({"status", "x", "--wait", "withdrawn"}));
  const auto result = call({"withdraw", "x"});
  EXPECT_EQ(result.code, 0) << result.err;
  EXPECT_EQ(result.out, "withdrawn\n");
  EXPECT_EQ(process.wait(), 0) << process.err();
  EXPECT_EQ(waiting.wait(), 0) << waiting.err();
  EXPECT_FALSE(isOpen(endpoint_));
}

TEST_F(AClientThatWaits, ForTheWithdrawalIsAnsweredAfterTheEndpointIsFree) {
  for (int round = 0; round < 5; ++round) {
    Process process(host(file()));
    ASSERT_TRUE(process.waitForOutput("ready: x")) << process.err();
    process.signal(SIGTERM);
    EXPECT_EQ(codeOf({"status", "x", "--wait", "withdrawn"}), 0);
    EXPECT_FALSE(isOpen(endpoint_));
    EXPECT_EQ(process.wait(), 0);
  }
}

TEST_F(AClientThatWaits, ForTheEndOfAWithdrawalTogetherWithOthersGetsZero) {
  Process process(host(file()));
  ASSERT_TRUE(process.waitForOutput("ready: x"));
  Process first(client({"withdraw", "x"}));
  Process second(client({"withdraw", "x"}));
  const int firstCode = first.wait();
  const int secondCode = second.wait();
  // The later one may come when the host is ending or gone.
  EXPECT_TRUE(firstCode == 0 || secondCode == 0);
  EXPECT_LE(firstCode, 1);
  EXPECT_LE(secondCode, 1);
  EXPECT_EQ(process.wait(), 0);
}

TEST_F(AClientThatWaits, ForAHostThatHangsGetsFour) {
  Process process(host(file()));
  ASSERT_TRUE(process.waitForOutput("ready: x"));
  process.signal(SIGSTOP);
  EXPECT_EQ(codeOf({"status", "x", "--wait", "ready", "--timeout", "200ms"}), 4);
  EXPECT_EQ(codeOf({"status", "x", "--wait", "withdrawn", "--timeout", "200ms"}), 4);
  process.signal(SIGCONT);
  EXPECT_EQ(codeOf({"status", "x", "--wait", "ready"}), 0);
  end(process);
}

class AClientOfNoHost : public EndToEnd {};

TEST_F(AClientOfNoHost, GetsOneAndTheNameOfTheFolder) {
  const auto file = write("x.json", Configuration("x").publisher("p", {freeEndpoint()}));
  const Arguments commands[] = {{"status", "x"},         {"watch", "x"},    {"watch"},
                                {"apply", "x", file},    {"withdraw", "x"}, {"ask", "x", "tcp://127.0.0.1:1"},
                                {"log", "x", "progress"}};
  for (const auto& command : commands) {
    const auto result = call(command);
    EXPECT_EQ(result.code, 1) << command[0];
    EXPECT_THAT(result.err, HasSubstr(control().string())) << command[0];
  }
  EXPECT_EQ(codeOf({"status"}), 0);
}

TEST_F(AClientOfNoHost, GetsTwoForAWrongCommandLineAndThreeForAnInvalidFile) {
  const Arguments wrong[] = {{"status", "--wait", "ready"},
                             {"status", "x", "--wait", "soon"},
                             {"apply", "x"},
                             {"withdraw"},
                             {"ask", "x"},
                             {"log", "x", "much"},
                             {"status", "no name"}};
  for (const auto& command : wrong) {
    EXPECT_EQ(codeOf(command), 2) << testing::PrintToString(command);
  }
  EXPECT_EQ(codeOf({"apply", "x", workspace_.write("bad.json", "{")}), 3);
  EXPECT_EQ(codeOf({"apply", "x", (workspace_.path() / "missing.json").string()}), 3);
}

class TheClientsOfAHost : public EndToEnd {};

TEST_F(TheClientsOfAHost, EndWithTheirCodes) {
  const auto peerEndpoint = freeEndpoint();
  const auto nobody = freeEndpoint();
  Process peer(host(write("peer.json", Configuration("peer").publisher("p", {peerEndpoint}))));
  Process process(host(write("x.json", Configuration("x").publisher("p", {}, {peerEndpoint}))));
  ASSERT_TRUE(process.waitForOutput("ready: x"));
  EXPECT_EQ(codeOf({"status"}), 0);
  EXPECT_EQ(codeOf({"status", "x"}), 0);
  EXPECT_EQ(codeOf({"log", "x", "progress"}), 0);
  EXPECT_EQ(codeOf({"log", "x", "none"}), 0);
  EXPECT_EQ(codeOf({"ask", "x", peerEndpoint}), 0);
  EXPECT_EQ(codeOf({"ask", "x", nobody}), 1) << "no publisher connects to it";
  EXPECT_EQ(codeOf({"watch"}), 1) << "which one?";
  {
    Process watch(client({"watch", "x", "--since-start"}));
    ASSERT_TRUE(watch.waitForOutput("allPublished"));
    watch.signal(SIGTERM);
    EXPECT_EQ(watch.wait(), 1000 + SIGTERM);
  }
  Process watch(client({"watch", "x"}));
  EXPECT_EQ(codeOf({"withdraw", "x"}), 0);
  EXPECT_EQ(process.wait(), 0);
  EXPECT_LE(watch.wait(), 1);
  end(peer);
}

}  // namespace spf::test
