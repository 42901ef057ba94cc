#include <csignal>
#include <memory>

#include "EndToEnd.hpp"

namespace spf::test {

using testing::HasSubstr;

// One publisher works, so that the host stays; another one is to get the port by a modification.
class APortThatIsTaken : public EndToEnd {
 protected:
  std::string start() const { return write("x.json", Configuration("x").publisher("p", {endpoint_})); }
  std::string with(const std::string& taken) const {
    return write("next.json", Configuration("x").publisher("p", {endpoint_}).publisher("q", {taken}));
  }

  // The status names the reason, and the port is got when it is free.
  void checkRefusal(const std::string& taken) {
    const auto result = call({"apply", "x", with(taken)});
    EXPECT_EQ(result.code, 5);
    EXPECT_THAT(result.err, HasSubstr(taken));
    EXPECT_THAT(result.err, HasSubstr("in use"));
    auto answer = status("x");
    EXPECT_EQ(answer["configuration"]["state"], "failed");
    EXPECT_THAT(answer["configuration"]["lastError"].dump(), HasSubstr("cannot open '" + taken + "': "));
    EXPECT_EQ(answer["publishers"][0]["state"], "ready");
    EXPECT_EQ(answer["publishers"][1]["state"], "failed");
    auto record = recordOf(answer, taken);
    EXPECT_EQ(record["phase"], "refused");
    EXPECT_THAT(record["reason"].dump(), HasSubstr("in use"));
    EXPECT_GE(record["tries"], 1);
    EXPECT_THAT(call({"status", "x"}).out, HasSubstr("in use"));
  }
  void checkSuccess(const std::string& taken) {
    EXPECT_EQ(codeOf({"apply", "x", with(taken)}), 0);
    EXPECT_TRUE(waitForState("x", "ready"));
    EXPECT_EQ(recordOf(status("x"), taken)["phase"], "up");
    EXPECT_TRUE(isOpen(taken));
  }

  const std::string endpoint_ = freeEndpoint();
};

TEST_F(APortThatIsTaken, ByAStrangerIsGotWhenItIsFree) {
  auto stranger = std::make_unique<ListeningSocket>();
  const auto taken = stranger->endpoint();
  Process process(host(start()));
  ASSERT_TRUE(process.waitForOutput("ready: x"));
  checkRefusal(taken);
  stranger.reset();
  checkSuccess(taken);
  end(process);
}

TEST_F(APortThatIsTaken, ByAnotherHostIsGotWhenThatOneHasEnded) {
  const auto taken = freeEndpoint();
  Process other(host(write("other.json", Configuration("other").publisher("p", {taken}))));
  Process process(host(start()));
  ASSERT_TRUE(other.waitForOutput("ready: other"));
  ASSERT_TRUE(process.waitForOutput("ready: x"));
  checkRefusal(taken);
  EXPECT_EQ(codeOf({"withdraw", "other"}), 0);
  EXPECT_EQ(other.wait(), 0);
  checkSuccess(taken);
  end(process);
}

TEST_F(APortThatIsTaken, ByAnotherHostIsGotWhenThatOneIsKilled) {
  const auto taken = freeEndpoint();
  Process other(host(write("other.json", Configuration("other").publisher("p", {taken})), {"--no-control"}));
  Process process(host(start()));
  ASSERT_TRUE(other.waitForOutput("ready: other"));
  ASSERT_TRUE(process.waitForOutput("ready: x"));
  checkRefusal(taken);
  killNow(other);
  checkSuccess(taken);
  end(process);
}

TEST_F(APortThatIsTaken, EndsAHostThatIsStartedWithItAndLeavesNothingBehind) {
  const ListeningSocket stranger;
  Process process(host(with(stranger.endpoint())));
  EXPECT_EQ(process.wait(), 5);
  EXPECT_THAT(process.err(), HasSubstr("in use"));
  EXPECT_THAT(leftOver(), testing::IsEmpty());
}

// Each try is counted, and shown with its reason.
TEST_F(APortThatIsTaken, IsNotTheReasonForAPeerThatIsNotThere) {
  const auto nobody = freeEndpoint();
  Process process(host(write("x.json", Configuration("x").publisher("p", {endpoint_}, {nobody}))));
  ASSERT_TRUE(waitForStatus("x", [&](const nlohmann::json& answer) {
    const auto record = recordOf(answer, nobody);
    return record.is_object() && record.value("tries", 0) >= 3;
  }));
  auto record = recordOf(status("x"), nobody);
  EXPECT_EQ(record["phase"], "opening");
  EXPECT_EQ(record["reason"], "Connection refused");
  Process peer(host(write("peer.json", Configuration("peer").publisher("p", {nobody}))));
  ASSERT_TRUE(process.waitForOutput("ready: x"));
  EXPECT_EQ(recordOf(status("x"), nobody)["reason"], "");
  end(process);
  end(peer);
}

class APublisherWithTwoHundredEndpoints : public EndToEnd {};

TEST_F(APublisherWithTwoHundredEndpoints, IsReadyAndKeepsThemAllWhenOneIsAdded) {
  Configuration::Texts endpoints;
  for (int index = 1; index <= 200; ++index) {
    endpoints.push_back("tcp://127.0.1." + std::to_string(index) + ":*");
  }
  Process process(host(write("x.json", Configuration("x").publisher("p", endpoints)), {"--quiet"}));
  ASSERT_TRUE(process.waitForOutput("ready: x")) << process.err();
  const auto before = endpointsOf(status("x"));
  ASSERT_EQ(before.size(), 200u);
  endpoints.push_back("tcp://127.0.1.201:*");
  EXPECT_EQ(codeOf({"apply", "x", write("next.json", Configuration("x").publisher("p", endpoints))}), 0);
  const auto after = endpointsOf(status("x"));
  ASSERT_EQ(after.size(), 201u);
  for (std::size_t index = 0; index < before.size(); ++index) {
    EXPECT_EQ(after[index]["phase"], "up");
    EXPECT_EQ(after[index]["address"], before[index]["address"]);
    EXPECT_TRUE(after[index]["address"].get<std::string>().find('*') == std::string::npos);
  }
  EXPECT_THAT(call({"status", "x"}).out, HasSubstr("tcp://127.0.1.200:*"));
  end(process);
}

TEST_F(APublisherWithTwoHundredEndpoints, IsConnectedToByAnotherOne) {
  Configuration::Texts endpoints;
  for (int index = 0; index < 200; ++index) {
    endpoints.push_back("ipc://" + (workspace_.path() / ("e" + std::to_string(index))).string());
  }
  Process server(host(write("server.json", Configuration("server").publisher("p", endpoints)), {"--quiet"}));
  Process user(host(write("user.json", Configuration("user").publisher("p", {}, endpoints)), {"--quiet"}));
  EXPECT_EQ(codeOf({"status", "user", "--wait", "ready"}), 0);
  EXPECT_THAT(call({"ask", "user", endpoints.back()}).out, HasSubstr("answers: p publishes nothing"));
  end(user);
  end(server);
}

}  // namespace spf::test
