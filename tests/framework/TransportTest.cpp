#include <algorithm>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>
#include <zmq.hpp>
#include "support/TestListener.hpp"
#include "zeromq/DescriptorLimit.hpp"

namespace {

using agent::spf::frameworkinterfaces::Transport;
using frameworktest::freeAddress;
using std::chrono::milliseconds;
using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;

class ATransport : public frameworktest::TransportFixture {};

// ZeroMQ itself ends the process if it gets no descriptor while it binds, or for its threads.
class ATransportWithFewDescriptors : public ATransport {
 protected:
  void SetUp() override {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer's own checks need a file descriptor";
#endif
  }

  /// Opens an endpoint while the process can open no descriptor, while it can open one, two, and so on.
  /// \return for each number, whether the endpoint was opened
  std::vector<bool> openedWith(const std::string& where) {
    std::vector<bool> result;
    for (int left = 0; left < 24; ++left) {
      SCOPED_TRACE(left);
      result.push_back(isOpenedWith(left, where));
    }
    return result;
  }

 private:
  bool isOpenedWith(int left, const std::string& where) {
    const auto listener = newListener();
    Transport::EndpointID id = 0;
    const int lowest = dup(STDIN_FILENO);
    ::close(lowest);
    {
      const frameworktest::DescriptorLimit limit(static_cast<rlim_t>(lowest + left));
      id = bind(where, listener);
      const auto deadline = std::chrono::steady_clock::now() + spf::test::patience;
      while (!listener->isOpened.isOpen() && !listener->hasFailed.isOpen() &&
             std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
      }
    }
    if (listener->isOpened.isOpen()) {
      close(id, listener);
      return true;
    }
    EXPECT_THAT(listener->failure(), HasSubstr("the process has reached its limit of"));
    return false;
  }
};

TEST_F(ATransport, CarriesRequestsAndAnswers) {
  connectPair();
  EXPECT_EQ(ask("question"), "answer to question");
  EXPECT_EQ(ask(""), "answer to ");
  EXPECT_EQ(ask(std::string(60000, 'x')).size(), 60010u);
  EXPECT_EQ(ask("size 1000000").size(), 1000000u);
}

TEST_F(ATransport, RefusesRequestsAndAnswersThatAreTooLarge) {
  connectPair();
  EXPECT_EQ(ask(std::string(64 * 1024, 'x')).size(), 64 * 1024 + 10u);
  EXPECT_THAT(errorOf(std::string(64 * 1024 + 1, 'x')),
              HasSubstr("the request has 65537 bytes; at most 65536 are allowed"));
  EXPECT_EQ(ask("size 1048576").size(), 1048576u);
  EXPECT_THAT(errorOf("size 1048577"),
              HasSubstr("the peer refuses: the answer has 1048577 bytes; at most 1048576 are allowed"));
  EXPECT_EQ(ask("question"), "answer to question");
}

TEST_F(ATransport, CarriesRequestsInsideTheProcess) {
  const auto inside = "inproc://inside";
  bind(inside, server);
  connect(inside, client);
  EXPECT_TRUE(client->isOpened.wait());
  EXPECT_EQ(ask("question"), "answer to question");
}

TEST_F(ATransport, SendsARequestThatIsMadeRightAfterTheConnectionInsideTheProcess) {
  connectPair();
  std::thread asker([this] { EXPECT_EQ(ask("wait"), "answer to wait"); });
  EXPECT_TRUE(server->isWaiting.wait());  // the transport's thread does nothing else meanwhile
  const auto inside = newListener();
  bind("inproc://inside", inside);
  sut->connect({"guest", "name", "inproc://inside"}, newListener());
  EXPECT_THROW(sut->ask("guest", "name", "question", milliseconds(0)), std::runtime_error);
  server->mayAnswer.open();
  asker.join();
  EXPECT_TRUE(inside->answered.waitFor(1));
}

TEST_F(ATransportWithFewDescriptors, FailsEndpointsWithTheLimit) {
  connectPair();
  EXPECT_THAT(openedWith("tcp://127.0.0.1:*"), AllOf(Contains(false), Contains(true)));
  EXPECT_EQ(ask("question"), "answer to question");
}

TEST_F(ATransportWithFewDescriptors, FailsEndpointsInsideTheProcessOnlyIfThereIsNoneForTheirSocket) {
  connectPair();
  const auto opened = openedWith("inproc://inside");
  EXPECT_EQ(std::count(opened.begin(), opened.end(), false), 1);
  EXPECT_FALSE(opened.front());
  EXPECT_EQ(ask("question"), "answer to question");
}

TEST_F(ATransportWithFewDescriptors, FailsItsFirstEndpointWithTheLimitInsideTheProcessToo) {
  EXPECT_THAT(openedWith("inproc://inside"), AllOf(Contains(false), Contains(true)));
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

TEST_F(ATransport, PropagatesThePeersRefusal) {
  connectPair();
  EXPECT_THAT(errorOf("refuse"), AllOf(HasSubstr("'client'"), HasSubstr("'name'"), HasSubstr("no such thing")));
  EXPECT_THAT(errorOf("throw"), HasSubstr("refuses"));
}

TEST_F(ATransport, ReportsThatAnAnswerDoesNotArriveInTime) {
  connectPair();
  EXPECT_THAT(errorOf("wait", milliseconds(1)), HasSubstr("no answer within 1 ms"));
  EXPECT_THAT(errorOf("wait", milliseconds(0)), HasSubstr("no answer within 0 ms"));
  EXPECT_THAT(errorOf("wait", milliseconds::min()), HasSubstr("no answer within 0 ms"));
  server->mayAnswer.open();
  EXPECT_EQ(ask("question", milliseconds::max()), "answer to question");
}

// More answers than a queue holds might be dropped.
TEST_F(ATransport, RefusesRequestsBeyondTheLimitOfPendingOnes) {
  constexpr int most = 64;
  zmq::context_t context;
  zmq::socket_t silent(context, zmq::socket_type::router);
  silent.set(zmq::sockopt::linger, 0);
  silent.bind(address);
  clientID = connect(address, client);
  ASSERT_TRUE(client->isOpened.wait());
  std::vector<std::thread> threads;
  for (int i = 0; i < most; ++i) {
    threads.emplace_back([this] { EXPECT_THAT(errorOf("question"), HasSubstr("was closed")); });
  }
  for (int frames = 0; frames < 3 * most; ++frames) {
    zmq::message_t frame;
    ASSERT_TRUE(silent.recv(frame).has_value());
  }
  EXPECT_THAT(errorOf("question"), HasSubstr("takes no more requests now"));
  sut->close(clientID);
  for (auto& thread : threads) {
    thread.join();
  }
}

TEST_F(ATransport, ReportsThatThereIsNoConnection) {
  EXPECT_THAT(errorOf("question"), AllOf(HasSubstr("'client'"), HasSubstr("not connected")));
  connect(address, client);
  EXPECT_THAT(errorOf("question"), HasSubstr("not connected"));
}

TEST_F(ATransport, ReportsThatTheConnectionIsClosedDuringARequest) {
  connectPair();
  std::thread closer([this] {
    sut->close(clientID);
    server->mayAnswer.open();
  });
  // Depending on the order, the request finds no connection, loses it, or is answered before.
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

TEST_F(ATransport, WaitsForAnAddressThatItIsClosing) {
  const auto id = bind(address, server);
  EXPECT_TRUE(server->isOpened.wait());
  sut->close(id);
  bind(address, client);
  EXPECT_TRUE(client->isOpened.wait());
  EXPECT_TRUE(server->isClosed.isOpen());
}

TEST_F(ATransport, ClosesAConnectionThatWasNeverEstablished) {
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

TEST_F(ATransport, IgnoresTheCloseOfAnUnknownEndpoint) {
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

TEST_F(ATransport, RefusesCallsAfterItsStop) {
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
