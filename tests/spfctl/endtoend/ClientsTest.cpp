#include <algorithm>
#include <atomic>
#include <csignal>
#include <memory>
#include <thread>

#include "EndToEnd.hpp"

namespace spf::test {

using nlohmann::json;
using testing::HasSubstr;

class AHostWithOddClients : public EndToEnd {
 protected:
  void SetUp() override {
    process_ = std::make_unique<Process>(host(write("x.json", Configuration("x").publisher("p", {freeEndpoint()}))));
    ASSERT_TRUE(process_->waitForOutput("ready: x")) << process_->err();
  }
  void TearDown() override {
    end(*process_);
    EndToEnd::TearDown();
  }
  // The host serves other clients, and continues.
  void expectService() const {
    EXPECT_EQ(status("x")["configuration"]["state"], "ready");
    const auto result = call({"status", "x"});
    EXPECT_EQ(result.code, 0) << result.err;
  }
  RawClient connect() const { return RawClient(socketOf("x")); }

  static constexpr auto statusRequest = "{\"version\": 1, \"request\": \"status\"}\n";

  std::unique_ptr<Process> process_;
};

struct WrongRequest {
  const char* text;
  const char* complaint;
};

void PrintTo(const WrongRequest& request, std::ostream* stream) {
  *stream << request.complaint;
}

class AHostWithAWrongRequest : public AHostWithOddClients, public testing::WithParamInterface<WrongRequest> {};

const WrongRequest wrongRequests[] = {
    {"\n", "a request that is no JSON"},
    {"GET / HTTP/1.1\r\n", "a request that is no JSON"},
    {"\x80\xff\xfe\x01\n", "a request that is no JSON"},
    {"[]\n", "a request that is no JSON object"},
    {"{}\n", "version missing; expected 1"},
    {"{\"version\": 2, \"request\": \"status\"}\n", "version 2; expected 1"},
    {"{\"version\": \"1\", \"request\": \"status\"}\n", "version \\\"1\\\"; expected 1"},
    {"{\"version\": 1}\n", "no 'request'"},
    {"{\"version\": 1, \"request\": 7}\n", "no 'request'"},
    {"{\"version\": 1, \"request\": \"dance\"}\n", "unknown request 'dance'"},
    {"{\"version\": 1, \"request\": \"apply\"}\n", "no 'file'"},
    {"{\"version\": 1, \"request\": \"apply\", \"file\": 7, \"text\": \"\"}\n", "'file' is 7; expected a text"},
    {"{\"version\": 1, \"request\": \"ask\"}\n", "no 'endpoint'"},
    {"{\"version\": 1, \"request\": \"log\", \"levels\": -1}\n", "'levels' is out of range"},
    {"{\"version\": 1, \"request\": \"log\", \"levels\": 1e99}\n", "expected a whole number"}};

INSTANTIATE_TEST_SUITE_P(Number, AHostWithAWrongRequest, testing::ValuesIn(wrongRequests),
                         [](const auto& request) { return std::to_string(request.index); });

TEST_P(AHostWithAWrongRequest, AnswersWhatIsWrongAndServesTheConnectionFurther) {
  auto client = connect();
  ASSERT_TRUE(client.send(GetParam().text));
  const auto answer = client.readLine();
  ASSERT_TRUE(answer);
  EXPECT_THAT(*answer, HasSubstr("\"ok\":false"));
  EXPECT_THAT(*answer, HasSubstr(GetParam().complaint));
  ASSERT_TRUE(client.send(statusRequest));
  const auto next = client.readLine();
  ASSERT_TRUE(next);
  EXPECT_THAT(*next, HasSubstr("\"ok\":true"));
  expectService();
}

TEST_F(AHostWithOddClients, RefusesTwentyMegabytesWithoutAnEndOfLine) {
  auto client = connect();
  const std::string megabyte(1U << 20U, 'x');
  bool isTaken = true;
  for (int count = 0; isTaken && count < 20; ++count) {
    isTaken = client.send(megabyte);
  }
  EXPECT_FALSE(isTaken) << "the host has read more than a request may have";
  const auto answer = client.readLine();
  if (answer) {
    EXPECT_THAT(*answer, HasSubstr("a request of more than 8388608 bytes"));
  }
  EXPECT_TRUE(client.waitForEnd());
  expectService();
}

TEST_F(AHostWithOddClients, ServesOthersWhileOneSendsNothingAndOneSendsHalfARequest) {
  const auto silent = connect();
  const auto half = connect();
  ASSERT_TRUE(half.send("{\"version\": 1, \"request\": \"sta"));
  expectService();
  auto slow = connect();
  for (const char character : std::string(statusRequest)) {
    ASSERT_TRUE(slow.send(std::string(1, character)));
  }
  EXPECT_TRUE(slow.readLine());
  expectService();
}

TEST_F(AHostWithOddClients, AnswersThousandsOfRequestsOnOneConnectionInTheirOrder) {
  auto client = connect();
  constexpr int count = 3000;
  std::thread sender([&] {
    std::string requests;
    for (int index = 0; index < count; ++index) {
      requests +=
          index % 3 == 0 ? "{\"version\": 1, \"request\": \"n" + std::to_string(index) + "\"}\n" : statusRequest;
    }
    EXPECT_TRUE(client.send(requests));
  });
  for (int index = 0; index < count; ++index) {
    const auto answer = client.readLine();
    if (!answer) {
      ADD_FAILURE() << "no answer " << index;
      break;
    }
    if (index % 3 == 0) {
      EXPECT_THAT(*answer, HasSubstr("'n" + std::to_string(index) + "'"));
    }
  }
  sender.join();
  expectService();
}

TEST_F(AHostWithOddClients, OutlivesClientsThatCloseAtOnce) {
  for (int count = 0; count < 500; ++count) {
    const auto client = connect();
    ASSERT_TRUE(client.isConnected());
    if (count % 2 == 0) {
      client.send(count % 4 == 0 ? statusRequest : "{\"version\": 1, \"request\": \"watch\"}\n");
    }
  }
  expectService();
}

TEST_F(AHostWithOddClients, OutlivesClientsThatNeverReadTheirAnswers) {
  std::vector<RawClient> clients;
  std::string requests;
  for (int count = 0; count < 1000; ++count) {
    requests += statusRequest;
  }
  for (int count = 0; count < 20; ++count) {
    clients.push_back(connect());
    clients.back().sendWhatFits(requests);
  }
  expectService();
}

TEST_F(AHostWithOddClients, AnswersFiftyClientsAtOnce) {
  std::vector<std::unique_ptr<Process>> clients;
  for (int count = 0; count < 50; ++count) {
    clients.push_back(std::make_unique<Process>(client({"status", "x", "--json"})));
  }
  for (const auto& client : clients) {
    EXPECT_EQ(client->wait(), 0) << client->err();
    EXPECT_EQ(json::parse(client->out())["configuration"]["state"], "ready");
  }
}

TEST_F(AHostWithOddClients, ServesOthersWhileThreeHundredConnectionsAreIdle) {
  std::vector<RawClient> idle;
  for (int count = 0; count < 300; ++count) {
    idle.push_back(connect());
    ASSERT_TRUE(idle.back().isConnected());
  }
  expectService();
  EXPECT_EQ(codeOf({"apply", "x", write("x.json", Configuration("x").publisher("p", {freeEndpoint()}))}), 0);
}

// The end of one connection is not taken for that of another one.
TEST_F(AHostWithOddClients, KeepsEveryWatchWhileOtherClientsComeAndGo) {
  std::atomic<bool> isEnding{false};
  std::vector<std::thread> others;
  for (int count = 0; count < 4; ++count) {
    others.emplace_back([&] {
      while (!isEnding) {
        status("x");
      }
    });
  }
  std::vector<RawClient> watches;
  for (int count = 0; count < 200; ++count) {
    watches.push_back(connect());
    watches.back().send("{\"version\": 1, \"request\": \"watch\"}\n");
    status("x");
  }
  isEnding = true;
  for (auto& other : others) {
    other.join();
  }
  EXPECT_EQ(codeOf({"apply", "x", write("x.json", Configuration("x").publisher("p", {freeEndpoint()}))}), 0);
  for (auto& watch : watches) {
    std::optional<std::string> line;
    do {
      line = watch.readLine();
      ASSERT_TRUE(line) << "the watch has ended";
    } while (line->find("allPublished") == std::string::npos);
  }
}

TEST_F(AHostWithOddClients, ServesOthersWhileManyClientsWatch) {
  std::vector<RawClient> watches;
  for (int count = 0; count < 100; ++count) {
    watches.push_back(connect());
    ASSERT_TRUE(watches.back().send("{\"version\": 1, \"request\": \"watch\"}\n"));
    ASSERT_TRUE(watches.back().readLine());
  }
  for (int count = 0; count < 5; ++count) {
    EXPECT_EQ(codeOf({"apply", "x", write("x.json", Configuration("x").publisher("p", {freeEndpoint()}))}), 0);
  }
  expectService();
}

class AHostThatWaits : public EndToEnd {};

TEST_F(AHostThatWaits, KeepsNoRoomForClientsThatHaveGivenUp) {
  Process process(host(write("x.json", Configuration("x").publisher("p", {}, {freeEndpoint()}))));
  ASSERT_TRUE(waitForState("x", "waiting"));
  for (int count = 0; count < 300; ++count) {
    RawClient(socketOf("x")).send("{\"version\": 1, \"request\": \"status\", \"wait\": \"ready\"}\n");
  }
  EXPECT_TRUE(waitForState("x", "waiting")) << "answered again";
  EXPECT_EQ(codeOf({"status", "x"}), 0);
  process.signal(SIGTERM);
  EXPECT_EQ(process.wait(), 128 + SIGTERM);
}

TEST_F(AHostThatWaits, RefusesMoreClientsThanItServesWhenAllOfThemWaitForAnAnswer) {
  Process process(host(write("x.json", Configuration("x").publisher("p", {}, {freeEndpoint()}))));
  ASSERT_TRUE(waitForState("x", "waiting"));
  std::vector<RawClient> clients;
  const auto add = [&] {
    clients.emplace_back(socketOf("x"));
    return clients.back().send("{\"version\": 1, \"request\": \"status\", \"wait\": \"ready\"}\n");
  };
  for (int count = 0; count < 256; ++count) {
    ASSERT_TRUE(add());
  }
  // One whose request has not been read yet may have had to make room.
  Result result{};
  ASSERT_TRUE(askUntil([&] {
    result = call({"status", "x"});
    return result.code != 0 || !add();
  }));
  EXPECT_EQ(result.code, 1);
  EXPECT_EQ(result.err, "spfctl status: too many clients\n");
  clients.clear();
  EXPECT_TRUE(waitForState("x", "waiting")) << "answered again";
  process.signal(SIGTERM);
  EXPECT_EQ(process.wait(), 128 + SIGTERM);
}

// So many events that a reader who reads nothing cannot get them all, and the host's memory of them is too short.
class AWatchThatNeverReads : public EndToEnd {
 protected:
  std::string file(const std::string& added) const {
    Configuration::Texts endpoints = {added};
    for (int index = 0; index < 400; ++index) {
      endpoints.push_back("inproc://endpoint" + std::to_string(index) + std::string(100, 'x'));
    }
    return write("x.json", Configuration("x").publisher("p", endpoints));
  }

  struct Received {
    int lines = 0;    // events, without the first line, which says what is published already
    int dropped = 0;  // events that the host did not keep
  };

  // Reads until all services of a revision are published.
  static Received readUntil(RawClient& watch, unsigned revision) {
    Received received;
    for (;;) {
      const auto line = watch.readLine();
      if (!line) {
        ADD_FAILURE() << "the watch has ended after " << received.lines << " lines";
        return received;
      }
      const auto event = json::parse(*line);
      if (event["kind"] == "dropped") {
        received.dropped += event["count"].get<int>();
      } else {
        ++received.lines;
      }
      if (event["kind"] == "services" && event["revision"] == revision) {
        return received;
      }
    }
  }
};

TEST_F(AWatchThatNeverReads, SlowsNobodyAndFindsEveryEventOrHowManyWereDropped) {
  Process process(host(file(freeEndpoint()), {"--quiet"}));
  ASSERT_TRUE(process.waitForOutput("ready: x")) << process.err();
  RawClient slow(socketOf("x"));
  RawClient fast(socketOf("x"));
  for (auto* const client : {&slow, &fast}) {
    ASSERT_TRUE(client->send("{\"version\": 1, \"request\": \"watch\"}\n"));
    ASSERT_TRUE(client->readLine());
  }
  constexpr unsigned rounds = 30;
  Received everything;
  for (unsigned round = 0; round < rounds; ++round) {
    const auto result = call({"apply", "x", file(freeEndpoint())});
    ASSERT_EQ(result.code, 0) << result.err;
    const auto received = readUntil(fast, round + 2);
    everything.lines += received.lines;
    EXPECT_EQ(received.dropped, 0);
  }
  const auto late = readUntil(slow, rounds + 1);
  EXPECT_GT(late.dropped, 0);
  EXPECT_EQ(late.lines + late.dropped, everything.lines);
  end(process);
}

TEST_F(AWatchThatNeverReads, DoesNotHoldUpTheEndOfTheHost) {
  Process process(host(file(freeEndpoint()), {"--quiet"}));
  ASSERT_TRUE(process.waitForOutput("ready: x")) << process.err();
  const RawClient slow(socketOf("x"));
  ASSERT_TRUE(slow.send("{\"version\": 1, \"request\": \"watch\", \"sinceStart\": true}\n"));
  for (int round = 0; round < 10; ++round) {
    ASSERT_EQ(codeOf({"apply", "x", file(freeEndpoint())}), 0);
  }
  EXPECT_EQ(codeOf({"withdraw", "x"}), 0);
  EXPECT_EQ(process.wait(), 0) << process.err();
}

TEST_F(AWatchThatNeverReads, InAnotherProcessSlowsNobodyWhileAPeerComesAndGoes) {
  const auto endpoint = freeEndpoint();
  Process process(host(write("x.json", Configuration("x").publisher("p", {}, {endpoint}))));
  const auto peerFile = write("peer.json", Configuration("peer").publisher("q", {endpoint}));
  auto peer = std::make_unique<Process>(host(peerFile));
  ASSERT_TRUE(process.waitForOutput("ready: x"));
  Process watch(client({"watch", "x", "--since-start", "--json"}));
  ASSERT_TRUE(watch.waitForOutput("allPublished"));
  for (int round = 0; round < 5; ++round) {
    killNow(*peer);
    ASSERT_TRUE(waitForPhase("x", endpoint, "lost"));
    peer = std::make_unique<Process>(host(peerFile));
    ASSERT_TRUE(waitForPhase("x", endpoint, "up"));
  }
  ASSERT_TRUE(peer->waitForOutput("ready: peer"));
  watch.signal(SIGINT);
  EXPECT_THAT(watch.wait(), testing::AnyOf(0, 128 + SIGINT, 1000 + SIGINT));
  end(process);
  end(*peer);
}

}  // namespace spf::test
