#include "control/ControlServer.hpp"

#include <gmock/gmock.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <deque>
#include <future>
#include <memory>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <nlohmann/json.hpp>

#include "control/ControlError.hpp"
#include "control/RawClient.hpp"
#include "control/WrappedCalls.hpp"
#include "control/protocol.hpp"
#include "spf/test/Gate.hpp"
#include "support/Workspace.hpp"

namespace spf::test {

using nlohmann::json;
using spfctl::ControlError;
using spfctl::ControlFolder;
using spfctl::ControlServer;
using spfctl::Reply;
using testing::HasSubstr;

namespace {

/// Lines that a stream sends; any thread may add some.
class Lines {
 public:
  void add(const std::string& line) {
    const std::lock_guard<std::mutex> lock(mutex_);
    lines_.push_back(line + '\n');
  }
  std::string next() {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (lines_.empty()) {
      return {};
    }
    auto line = lines_.front();
    lines_.pop_front();
    return line;
  }

 private:
  std::mutex mutex_;
  std::deque<std::string> lines_;
};

/// Opens a gate when the last copy of it is destroyed.
std::shared_ptr<void> opener(Gate& gate) {
  return {&gate, [](void* opened) { static_cast<Gate*>(opened)->open(); }};
}

class AControlServer : public testing::Test {
 protected:
  using Handler = ControlServer::Handler;

  AControlServer() { start(); }
  ~AControlServer() override {
    sut_.reset();
    failsToAccept = nullptr;
  }

  // Answers with the name of the request, unless the test has a handler for it.
  void start() {
    sut_ = std::make_unique<ControlServer>(folder_, "h");
    sut_->start([this](const json& request, const std::shared_ptr<Reply>& reply) {
      const auto name = request.at("request").get<std::string>();
      const auto handler = handlers_.find(name);
      if (handler != handlers_.end()) {
        handler->second(request, reply);
      } else {
        reply->finish({{"echo", name}});
      }
    });
  }

  // Keeps the reply of requests of a name, and opens a gate.
  void keepReply(const std::string& name) {
    handlers_[name] = [this](const json&, const std::shared_ptr<Reply>& reply) {
      kept_ = reply;
      received_.open();
    };
  }

  std::shared_ptr<Reply> keptReply() {
    EXPECT_TRUE(received_.wait());
    return kept_;
  }

  std::string answerTo(const std::string& line) {
    RawClient client(socket_);
    EXPECT_TRUE(client.send(line + '\n'));
    return client.readLine().value_or("no answer");
  }

  // Whether the server serves a client now.
  bool isServing() { return answerTo(R"({"version":1,"request":"x"})") == R"({"echo":"x"})"; }

  const Workspace workspace_;
  const ControlFolder folder_{workspace_.path() / "hosts", ControlFolder::Purpose::serve};
  const std::filesystem::path socket_ = folder_.socketOf("h");
  std::map<std::string, Handler> handlers_;  // changed while no client is there
  std::shared_ptr<Reply> kept_;
  Gate received_;
  std::unique_ptr<ControlServer> sut_;
};

std::string refusal(const std::string& error) {
  return R"({"version":1,"ok":false,"code":2,"error":")" + error + "\"}";
}

std::string failed(const std::string& error) {
  return R"({"version":1,"ok":false,"code":1,"error":")" + error + "\"}";
}

}  // namespace

TEST_F(AControlServer, AnswersARequest) {
  EXPECT_EQ(answerTo(R"({"version":1,"request":"status","unknown":[1,{}]})"), R"({"echo":"status"})");
}

TEST_F(AControlServer, AnswersSeveralRequestsOfOneConnection) {
  RawClient client(socket_);
  for (const auto* name : {"a", "b", "c"}) {
    client.request(name);
    EXPECT_EQ(client.readLine(), R"({"echo":")" + std::string(name) + "\"}");
  }
}

TEST_F(AControlServer, AnswersPipelinedRequestsOneAfterTheOther) {
  keepReply("slow");
  RawClient client(socket_);
  std::string requests = R"({"version":1,"request":"slow"})"
                         "\n";
  for (int number = 0; number != 5000; ++number) {
    requests += R"({"version":1,"request":")" + std::to_string(number) + "\"}\n";
  }
  const auto sent = std::async(std::launch::async, [&] { return client.send(requests); });
  keptReply()->finish({{"echo", "slow"}});
  EXPECT_EQ(client.readLine(), R"({"echo":"slow"})");
  for (int number = 0; number != 5000; ++number) {
    ASSERT_EQ(client.readLine(), R"({"echo":")" + std::to_string(number) + "\"}");
  }
}

TEST_F(AControlServer, TakesARequestInPieces) {
  RawClient client(socket_);
  client.send(R"({"version":1,)");
  EXPECT_TRUE(isServing());
  client.send(R"("request":"a"})");
  EXPECT_TRUE(isServing());
  client.send("\n");
  EXPECT_EQ(client.readLine(), R"({"echo":"a"})");
}

TEST_F(AControlServer, RefusesWhatIsNoRequestAndGoesOn) {
  RawClient client(socket_);
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"", refusal("a request that is no JSON")},
      {"garbage \x01\xff", refusal("a request that is no JSON")},
      {"{", refusal("a request that is no JSON")},
      {"[]", refusal("a request that is no JSON object")},
      {"1", refusal("a request that is no JSON object")},
      {"{}", refusal("version missing; expected 1")},
      {R"({"request":"a"})", refusal("version missing; expected 1")},
      {R"({"version":2,"request":"a"})", refusal("version 2; expected 1")},
      {R"({"version":"1","request":"a"})", refusal(R"(version \"1\"; expected 1)")},
      {R"({"version":1})", refusal("no 'request'; expected a text")},
      {R"({"version":1,"request":7})", refusal("no 'request'; expected a text")},
      {R"({"version":1,"request":"a"})", R"({"echo":"a"})"}};
  for (const auto& [line, expected] : cases) {
    client.send(line + '\n');
    EXPECT_EQ(client.readLine(), expected) << line;
  }
}

TEST_F(AControlServer, AnswersWithTheReasonWhenTheHandlerThrows) {
  handlers_["unclear"] = [](const json&, const auto&) { throw std::invalid_argument("unclear \x1b\xff"); };
  handlers_["broken"] = [](const json&, const auto&) { throw std::runtime_error("broken"); };
  RawClient client(socket_);
  client.request("unclear");
  EXPECT_EQ(client.readLine(), refusal("unclear \\u001b\xef\xbf\xbd"));
  client.request("broken");
  EXPECT_EQ(client.readLine(), failed("broken"));
  client.request("a");
  EXPECT_EQ(client.readLine(), R"({"echo":"a"})");
}

TEST_F(AControlServer, EndsTheConnectionAloneWhenTheHandlerThrowsSomethingElse) {
  handlers_["broken"] = [](const json&, const auto&) { throw 7; };
  RawClient client(socket_);
  client.request("broken");
  EXPECT_TRUE(client.isClosedByHost());
  EXPECT_TRUE(isServing());
}

TEST_F(AControlServer, TakesTheFirstAnswerOnly) {
  handlers_["twice"] = [](const json&, const std::shared_ptr<Reply>& reply) {
    reply->finish({{"number", 1}});
    reply->finish({{"number", 2}});
    throw std::runtime_error("too late");
  };
  RawClient client(socket_);
  client.request("twice");
  client.request("a");
  EXPECT_EQ(client.readLine(), R"({"number":1})");
  EXPECT_EQ(client.readLine(), R"({"echo":"a"})");
}

TEST_F(AControlServer, SurvivesDeepNesting) {
  constexpr std::size_t depth = 1000000;
  EXPECT_EQ(answerTo(R"({"version":1,"request":"a","deep":)" + std::string(depth, '[') + std::string(depth, ']') + "}"),
            R"({"echo":"a"})");
  EXPECT_EQ(answerTo(std::string(depth, '[')), refusal("a request that is no JSON"));
}

TEST_F(AControlServer, AcceptsTheLongestRequestAndRefusesOneOfAByteMore) {
  const std::string head = R"({"version":1,"request":"a"})";
  EXPECT_EQ(answerTo(head + std::string(spfctl::protocol::longestRequest - head.size(), ' ')), R"({"echo":"a"})");
  RawClient client(socket_);
  client.send(head + std::string(spfctl::protocol::longestRequest + 1 - head.size(), ' ') + '\n');
  EXPECT_EQ(client.readLine(), refusal("a request of more than 8388608 bytes"));
  EXPECT_TRUE(client.isClosedByHost());
}

TEST_F(AControlServer, RefusesARequestWithoutAnEnd) {
  RawClient client(socket_);
  while (client.send(std::string(1U << 20U, 'x'))) {
  }
  EXPECT_EQ(client.readLine(), refusal("a request of more than 8388608 bytes"));
}

TEST_F(AControlServer, AnswersAClientThatSendsNothingMore) {
  keepReply("slow");
  RawClient client(socket_);
  client.request("slow");
  client.request("a");
  client.endSending();
  const auto reply = keptReply();
  EXPECT_TRUE(isServing());
  EXPECT_FALSE(reply->isAbandoned());
  reply->finish({{"echo", "slow"}});
  EXPECT_EQ(client.readLine(), R"({"echo":"slow"})");
  EXPECT_EQ(client.readLine(), R"({"echo":"a"})");
  EXPECT_TRUE(client.isClosedByHost());
}

TEST_F(AControlServer, CarriesOutTheRequestOfAClientThatHangsUpAtOnce) {
  keepReply("withdraw");
  { RawClient(socket_).request("withdraw"); }
  const auto reply = keptReply();
  EXPECT_TRUE(isServing());
  EXPECT_TRUE(reply->isAbandoned());
}

TEST_F(AControlServer, FreesTheConnectionsOfClientsThatHangUpWhileTheyWait) {
  Counter waiting;
  std::vector<std::shared_ptr<Reply>> replies;
  handlers_["wait"] = [&](const json&, const std::shared_ptr<Reply>& reply) {
    replies.push_back(reply);
    waiting.add();
  };
  const int number = spfctl::protocol::mostClients;
  {
    std::deque<RawClient> clients;
    for (int client = 0; client != number; ++client) {
      clients.emplace_back(socket_).request("wait");
    }
    ASSERT_TRUE(waiting.waitFor(number));
  }
  for (const auto& reply : replies) {
    while (!reply->isAbandoned()) {
      std::this_thread::yield();
    }
  }
  EXPECT_TRUE(isServing());
}

TEST_F(AControlServer, ServesSoManyWaitingClientsAndNoMore) {
  Counter waiting;
  std::vector<std::shared_ptr<Reply>> replies;
  handlers_["wait"] = [&](const json&, const std::shared_ptr<Reply>& reply) {
    replies.push_back(reply);
    waiting.add();
  };
  std::deque<RawClient> clients;
  for (std::size_t number = 0; number != spfctl::protocol::mostClients; ++number) {
    clients.emplace_back(socket_).request("wait");
  }
  ASSERT_TRUE(waiting.waitFor(static_cast<int>(spfctl::protocol::mostClients)));
  RawClient refused(socket_);
  EXPECT_EQ(refused.readLine(), failed("too many clients"));
  EXPECT_TRUE(refused.isClosedByHost());
  replies.front()->finish({{"echo", "b"}});
  EXPECT_EQ(clients.front().readLine(), R"({"echo":"b"})");
  sut_.reset();
}

TEST_F(AControlServer, MakesRoomForAClientByEndingTheOneThatIsIdleForLongest) {
  std::deque<RawClient> clients;
  for (std::size_t number = 0; number != spfctl::protocol::mostClients; ++number) {
    clients.emplace_back(socket_).request("a");
    ASSERT_EQ(clients.back().readLine(), R"({"echo":"a"})");
  }
  RawClient another(socket_);
  another.request("b");
  EXPECT_EQ(another.readLine(), R"({"echo":"b"})");
  EXPECT_TRUE(clients.front().isClosedByHost());
  clients.back().request("c");
  EXPECT_EQ(clients.back().readLine(), R"({"echo":"c"})");
}

TEST_F(AControlServer, StreamsWhatIsAddedByManyThreads) {
  const auto lines = std::make_shared<Lines>();
  handlers_["watch"] = [this, lines](const json&, const std::shared_ptr<Reply>& reply) {
    kept_ = reply;
    reply->stream("first\n", [lines] { return lines->next(); });
    received_.open();
  };
  RawClient client(socket_);
  client.request("watch");
  const auto reply = keptReply();
  EXPECT_EQ(client.readLine(), "first");
  std::vector<std::thread> threads;
  for (int thread = 0; thread != 4; ++thread) {
    threads.emplace_back([&] {
      for (int number = 0; number != 250; ++number) {
        lines->add("line");
        reply->wake();
      }
    });
  }
  for (int number = 0; number != 1000; ++number) {
    EXPECT_EQ(client.readLine(), "line");
  }
  for (auto& thread : threads) {
    thread.join();
  }
}

TEST_F(AControlServer, ServesOthersWhileAReaderIsSlowAndReleasesTheStreamWhenItHangsUp) {
  Gate released;
  handlers_["watch"] = [&](const json&, const std::shared_ptr<Reply>& reply) {
    reply->stream("first\n", [holder = opener(released)] { return std::string(1U << 20U, 'x') + '\n'; });
  };
  {
    RawClient slow(socket_);
    slow.request("watch");
    EXPECT_EQ(slow.readLine(), "first");
    EXPECT_TRUE(isServing());
    EXPECT_FALSE(released.isOpen());
  }
  EXPECT_TRUE(released.wait());
  EXPECT_TRUE(isServing());
}

TEST_F(AControlServer, EndsTheConnectionAloneWhenAStreamThrows) {
  Gate released;
  handlers_["watch"] = [&](const json&, const std::shared_ptr<Reply>& reply) {
    reply->stream("first\n", [holder = opener(released)]() -> std::string { throw std::bad_alloc(); });
  };
  RawClient client(socket_);
  client.request("watch");
  EXPECT_EQ(client.readLine(), "first");
  EXPECT_TRUE(client.isClosedByHost());
  EXPECT_TRUE(released.wait());
  EXPECT_TRUE(isServing());
}

TEST_F(AControlServer, AcceptsClientsAgainAfterAWantOfFileDescriptors) {
  std::atomic<bool> isWanting{true};
  Counter failures;
  sut_.reset();
  failsToAccept = [&] {
    if (isWanting) {
      failures.add();
    }
    return isWanting.load();
  };
  start();
  RawClient client(socket_);
  client.request("a");
  EXPECT_TRUE(failures.waitFor(2));
  isWanting = false;
  EXPECT_EQ(client.readLine(), R"({"echo":"a"})");
  sut_.reset();
}

TEST_F(AControlServer, SendsAnswersThatAreStillMissingWhenItStops) {
  keepReply("slow");
  RawClient client(socket_);
  client.request("slow");
  const auto reply = keptReply();
  const auto stopped = std::async(std::launch::async, [&] { sut_->stop(); });
  reply->finish({{"echo", "slow"}});
  EXPECT_EQ(client.readLine(), R"({"echo":"slow"})");
}

TEST_F(AControlServer, SendsTheRestOfStreamsWhenItStopsAndThenReleasesThem) {
  Gate released;
  Lines lines;
  handlers_["watch"] = [&](const json&, const std::shared_ptr<Reply>& reply) {
    reply->stream("first\n", [&lines, holder = opener(released)] { return lines.next(); });
  };
  RawClient client(socket_);
  client.request("watch");
  EXPECT_EQ(client.readLine(), "first");
  lines.add("last but one");
  lines.add("last");
  sut_->stop();
  EXPECT_TRUE(released.isOpen());
  EXPECT_EQ(client.readLine(), "last but one");
  EXPECT_EQ(client.readLine(), "last");
  sut_.reset();
  EXPECT_TRUE(client.isClosedByHost());
}

TEST_F(AControlServer, ReleasesAStreamThatItsClientDoesNotReadWhenItStops) {
  Gate released;
  handlers_["watch"] = [&](const json&, const std::shared_ptr<Reply>& reply) {
    reply->stream("first\n", [holder = opener(released)] { return std::string(1U << 20U, 'x') + '\n'; });
  };
  RawClient slow(socket_);
  slow.request("watch");
  EXPECT_EQ(slow.readLine(), "first");
  sut_->stop();
  EXPECT_TRUE(released.isOpen());
}

TEST_F(AControlServer, KeepsConnectionsOpenAfterItHasStoppedButCarriesOutNothingMore) {
  RawClient client(socket_);
  client.request("a");
  EXPECT_EQ(client.readLine(), R"({"echo":"a"})");
  sut_->stop();
  sut_->stop();
  client.request("a");
  EXPECT_EQ(client.readLine(), failed("the host is ending"));
  EXPECT_THROW(RawClient another(socket_), std::runtime_error);
  sut_.reset();
  EXPECT_TRUE(client.isClosedByHost());
}

TEST_F(AControlServer, LeavesNeitherSocketNorLockBehind) {
  EXPECT_TRUE(exists(socket_));
  EXPECT_TRUE(exists(folder_.lockOf("h")));
  sut_.reset();
  EXPECT_TRUE(is_empty(folder_.path()));
}

TEST_F(AControlServer, ClosesItsConnectionsAfterItHasReleasedTheName) {
  RawClient client(socket_);
  // One that is not accepted yet would be closed with the socket.
  client.request("a");
  EXPECT_EQ(client.readLine(), R"({"echo":"a"})");
  auto ending = std::async(std::launch::async, [&] { sut_.reset(); });
  EXPECT_TRUE(client.isClosedByHost());
  EXPECT_TRUE(is_empty(folder_.path()));
  ending.wait();
  start();
  EXPECT_TRUE(isServing());
}

TEST_F(AControlServer, MayBeOutlivedByItsReplies) {
  keepReply("slow");
  RawClient client(socket_);
  client.request("slow");
  const auto reply = keptReply();
  sut_.reset();
  EXPECT_TRUE(reply->isAbandoned());
  Gate released;
  reply->wake();
  reply->finish({{"echo", "too late"}});
  reply->stream("too late", [holder = opener(released)] { return std::string(); });
  EXPECT_TRUE(released.isOpen());
  EXPECT_EQ(client.readLine(), std::nullopt);
}

TEST_F(AControlServer, TakesThePlaceOfASocketThatWasLeftOver) {
  sut_.reset();
  workspace_.write("hosts/h.sock", "");
  workspace_.write("hosts/.h.new", "");
  workspace_.write("hosts/h.lock", "1");
  start();
  EXPECT_TRUE(isServing());
  EXPECT_FALSE(exists(folder_.path() / ".h.new"));
}

TEST_F(AControlServer, LetsNoSecondOneHaveItsName) {
  EXPECT_THROW(ControlServer(folder_, "h"), ControlError);
  EXPECT_TRUE(isServing());
}

TEST_F(AControlServer, IsForItsUserAlone) {
  struct stat status {};
  ASSERT_EQ(stat(socket_.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode, S_IFSOCK | S_IRUSR | S_IWUSR);
}

TEST_F(AControlServer, RefusesAnotherUserThatReachesTheSocketAllTheSame) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can become another user";
  }
  for (const auto& path : {workspace_.path(), folder_.path(), socket_}) {
    ASSERT_EQ(chmod(path.c_str(), 0777), 0);
  }
  const pid_t child = fork();
  if (child == 0) {
    if (setuid(65534) != 0) {
      _exit(2);
    }
    try {
      RawClient client(socket_);
      _exit(client.readLine() == failed("the host belongs to another user") && client.isClosedByHost() ? 0 : 1);
    } catch (...) {
      _exit(3);
    }
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
}

TEST_F(AControlServer, IsNotInheritedByAChildProcess) {
  RawClient client(socket_);
  client.request("a");
  EXPECT_EQ(client.readLine(), R"({"echo":"a"})");
  pid_t child = 0;
  const char* const arguments[] = {"sleep", "1000", nullptr};
  ASSERT_EQ(posix_spawnp(&child, "sleep", nullptr, nullptr, const_cast<char**>(arguments), environ), 0);
  sut_.reset();
  EXPECT_TRUE(client.isClosedByHost());
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
}

TEST(AControlServerInAFolderWithALongName, NamesTheSocketThatCannotBeOpened) {
  const Workspace workspace;
  const auto path = workspace.path() / std::string(100, 'x');
  const ControlFolder folder(path, ControlFolder::Purpose::serve);
  ControlServer sut(folder, "h");
  try {
    sut.start([](const json&, const auto&) {});
    FAIL() << "started";
  } catch (const ControlError& error) {
    EXPECT_EQ(error.what(), "control socket '" + folder.socketOf("h").string() + "': File name too long");
  }
}

}  // namespace spf::test
