#include "agent/spf/frameworkinterfaces/Transport.hpp"

#include <atomic>
#include <future>
#include <thread>

#include "spf/test/Gate.hpp"
#include "support/RunningFramework.hpp"

namespace {

using agent::spf::frameworkinterfaces::EndpointListener;
using agent::spf::frameworkinterfaces::Transport;
using frameworktest::freeAddress;
using frameworktest::RunningFramework;
using spf::test::Gate;
using std::chrono::milliseconds;
using testing::AllOf;
using testing::HasSubstr;

class TestListener : public EndpointListener {
 public:
  void opened() override { isOpened.open(); }
  void failed(std::exception_ptr error) override {
    reason = error;
    hasFailed.open();
  }
  void closed() override { isClosed.open(); }
  std::string answer(const std::string& request) override {
    if (request == "refuse") {
      throw std::runtime_error("no such thing");
    }
    if (request == "throw") {
      throw 42;
    }
    if (request == "wait") {
      EXPECT_TRUE(mayAnswer.wait());
    }
    return "answer to " + request;
  }

  std::string failure() {
    EXPECT_TRUE(hasFailed.wait());
    try {
      std::rethrow_exception(reason);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
  }

  Gate isOpened;
  Gate hasFailed;
  Gate isClosed;
  Gate mayAnswer;
  std::exception_ptr reason;
};

class ATransport : public testing::Test {
 protected:
  std::shared_ptr<TestListener> newListener() { return std::make_shared<TestListener>(); }

  Transport::EndpointID bind(const std::string& where, const std::shared_ptr<TestListener>& listener) {
    return sut->bind({"server", where, where}, listener);
  }

  Transport::EndpointID connect(const std::string& where, const std::shared_ptr<TestListener>& listener) {
    return sut->connect({"client", "name", where}, listener);
  }

  /// A server and a client that is connected to it.
  void connectPair() {
    serverID = bind(address, server);
    EXPECT_TRUE(server->isOpened.wait());
    clientID = connect(address, client);
    EXPECT_TRUE(client->isOpened.wait());
  }

  std::string ask(const std::string& request, milliseconds timeout = std::chrono::seconds(20)) {
    return sut->ask("client", "name", request, timeout);
  }

  std::string errorOf(const std::string& request, milliseconds timeout = std::chrono::seconds(20)) {
    try {
      ask(request, timeout);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "";
  }

  RunningFramework framework;
  const std::shared_ptr<Transport> sut = framework.service<Transport>();
  const std::string address = freeAddress();
  const std::shared_ptr<TestListener> server = newListener();
  const std::shared_ptr<TestListener> client = newListener();
  Transport::EndpointID serverID = 0;
  Transport::EndpointID clientID = 0;
};

TEST_F(ATransport, CarriesRequestsAndAnswers) {
  connectPair();
  EXPECT_EQ(ask("question"), "answer to question");
  EXPECT_EQ(ask(""), "answer to ");
  EXPECT_EQ(ask(std::string(1000000, 'x')).size(), 1000010u);
}

TEST_F(ATransport, CarriesThemInsideTheProcessToo) {
  const auto inside = "inproc://inside";
  bind(inside, server);
  connect(inside, client);
  EXPECT_TRUE(client->isOpened.wait());
  EXPECT_EQ(ask("question"), "answer to question");
}

TEST_F(ATransport, CarriesRequestsOfManyThreads) {
  connectPair();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this, i] {
      for (int j = 0; j < 25; ++j) {
        const auto text = std::to_string(i) + "/" + std::to_string(j);
        EXPECT_EQ(ask(text), "answer to " + text);
      }
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
}

TEST_F(ATransport, PassesThePeersRefusalOn) {
  connectPair();
  EXPECT_THAT(errorOf("refuse"), AllOf(HasSubstr("'client'"), HasSubstr("'name'"), HasSubstr("no such thing")));
  EXPECT_THAT(errorOf("throw"), HasSubstr("refuses"));
}

TEST_F(ATransport, SaysSoWhenAnAnswerDoesNotComeInTime) {
  connectPair();
  EXPECT_THAT(errorOf("wait", milliseconds(1)), HasSubstr("no answer within 1 ms"));
  EXPECT_THAT(errorOf("wait", milliseconds(0)), HasSubstr("no answer within 0 ms"));
  EXPECT_THAT(errorOf("wait", milliseconds::min()), HasSubstr("no answer within 0 ms"));
  server->mayAnswer.open();
  EXPECT_EQ(ask("question", milliseconds::max()), "answer to question");
}

TEST_F(ATransport, SaysSoWhenThereIsNoConnection) {
  EXPECT_THAT(errorOf("question"), AllOf(HasSubstr("'client'"), HasSubstr("not connected")));
  connect(address, client);
  EXPECT_THAT(errorOf("question"), HasSubstr("not connected"));
}

TEST_F(ATransport, SaysSoWhenTheConnectionIsClosedUnderARequest) {
  connectPair();
  std::thread closer([this] {
    sut->close(clientID);
    server->mayAnswer.open();
  });
  // Whichever is first: the request finds no connection, or loses it, or is answered just before.
  const std::string error = errorOf("wait");
  closer.join();
  EXPECT_THAT(error, testing::AnyOf("", HasSubstr("not connected"), HasSubstr("was closed")));
  EXPECT_TRUE(client->isClosed.wait());
}

TEST_F(ATransport, FailsToBindAnAddressThatItHoldsAlready) {
  bind(address, server);
  bind(address, client);
  EXPECT_THAT(client->failure(), AllOf(HasSubstr(address), HasSubstr("in use")));
  EXPECT_FALSE(client->isClosed.isOpen());
}

TEST_F(ATransport, CanBindAnAddressAgainOnceItIsClosed) {
  for (int round = 0; round < 20; ++round) {
    const auto listener = newListener();
    const auto id = bind(address, listener);
    ASSERT_TRUE(listener->isOpened.wait());
    sut->close(id);
    ASSERT_TRUE(listener->isClosed.wait());
  }
}

TEST_F(ATransport, WaitsForAnAddressThatItIsGivingBack) {
  const auto id = bind(address, server);
  EXPECT_TRUE(server->isOpened.wait());
  sut->close(id);
  bind(address, client);
  EXPECT_TRUE(client->isOpened.wait());
  EXPECT_TRUE(server->isClosed.isOpen());
}

TEST_F(ATransport, ClosesWhatNeverConnected) {
  const auto id = connect(address, client);
  sut->close(id);
  EXPECT_TRUE(client->isClosed.wait());
  EXPECT_FALSE(client->isOpened.isOpen());
}

TEST_F(ATransport, ClosesWithPeersConnected) {
  connectPair();
  sut->close(serverID);
  EXPECT_TRUE(server->isClosed.wait());
  const auto next = newListener();
  bind(address, next);
  EXPECT_TRUE(next->isOpened.wait());
}

TEST_F(ATransport, IgnoresTheCloseOfWhatItDoesNotKnow) {
  sut->close(4711);
  const auto id = bind(address, server);
  sut->close(id);
  sut->close(id);
  EXPECT_TRUE(server->isClosed.wait());
}

TEST_F(ATransport, NeverUsesAnIDTwice) {
  EXPECT_NE(bind(freeAddress(), server), bind(freeAddress(), client));
}

TEST_F(ATransport, ClosesEveryEndpointWhenItStops) {
  connectPair();
  framework.bundle("spf_zeromq_transport").Stop();
  EXPECT_TRUE(server->isClosed.isOpen());
  EXPECT_TRUE(client->isClosed.isOpen());
  EXPECT_EQ(framework.service<Transport>(), nullptr);
}

TEST_F(ATransport, RefusesWhatComesAfterItsStop) {
  framework.bundle("spf_zeromq_transport").Stop();
  EXPECT_THROW(bind(address, server), std::runtime_error);
  EXPECT_THROW(connect(address, client), std::runtime_error);
  EXPECT_THAT(errorOf("question"), HasSubstr("was stopped"));
  sut->close(1);
}

TEST_F(ATransport, EndsWaitingRequestsWhenItStops) {
  bind(address, server);
  EXPECT_TRUE(server->isOpened.wait());
  connect(address, client);
  EXPECT_TRUE(client->isOpened.wait());
  auto asked = std::async(std::launch::async, [this] { return errorOf("wait"); });
  auto stopped = std::async(std::launch::async, [this] { framework.bundle("spf_zeromq_transport").Stop(); });
  server->mayAnswer.open();
  EXPECT_EQ(asked.wait_for(spf::test::patience), std::future_status::ready);
  stopped.get();
}

}  // namespace
