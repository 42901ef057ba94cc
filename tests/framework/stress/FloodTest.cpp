#include <atomic>
#include <iostream>
#include <string>
#include <thread>
#include <vector>

#include <zmq.hpp>
#include "support/Resources.hpp"
#include "support/TestListener.hpp"

namespace {

using frameworktest::freeAddress;
using frameworktest::residentMemory;
using frameworktest::reusesMemory;
using spf::test::Gate;

constexpr int rounds = 50;
constexpr std::size_t queuedMessages = 64;  // of one connection, in either direction
constexpr std::size_t slack = 24;           // MiB

/// A peer that sends the same message over and over as fast as it can, and reads nothing.
class Flood {
 public:
  /// \param queue  how many messages it holds in store; many of them keep the transport's queue full
  explicit Flood(int queue = 1) : queue_(queue) {}

  /// Connects, and sends a message of these frames.
  static void connected(Flood& flood, const std::string& address, std::vector<std::string> frames) {
    flood.start([&flood, address, frames] {
      zmq::socket_t socket = flood.newSocket(zmq::socket_type::dealer);
      socket.connect(address);
      flood.sendUntilEnded(socket, frames);
    });
  }

  /// Binds, waits for somebody's question, and floods him with answers that he did not ask for.
  static void bound(Flood& flood, const std::string& address, std::vector<std::string> frames) {
    flood.start([&flood, address, frames] {
      zmq::socket_t socket = flood.newSocket(zmq::socket_type::router);
      socket.set(zmq::sockopt::router_mandatory, true);  // waits for the peer instead of dropping
      socket.bind(address);
      zmq::message_t peer;
      while (!flood.ended_ && !socket.recv(peer)) {
      }
      auto message = frames;
      message.insert(message.begin(), peer.to_string());
      flood.sendUntilEnded(socket, message);
    });
  }

  ~Flood() {
    ended_ = true;
    thread_.join();
  }

  bool hasStarted() { return started_.wait(); }

  /// Waits until the transport has taken nothing for some time.
  bool hasStalled() { return stalled_.wait(); }

 private:
  template <class Function>
  void start(Function function) {
    thread_ = std::thread(std::move(function));
  }

  zmq::socket_t newSocket(zmq::socket_type type) {
    zmq::socket_t socket(context_, type);
    socket.set(zmq::sockopt::linger, 0);
    socket.set(zmq::sockopt::sndtimeo, 50);
    socket.set(zmq::sockopt::rcvtimeo, 50);
    // Its queues share the test's memory, which is to be the transport's.
    socket.set(zmq::sockopt::sndhwm, queue_);
    socket.set(zmq::sockopt::rcvhwm, 1);
    return socket;
  }

  void sendUntilEnded(zmq::socket_t& socket, const std::vector<std::string>& frames) {
    while (!ended_) {
      for (std::size_t i = 0; i < frames.size() && !ended_; ++i) {
        const auto more = i + 1 < frames.size() ? zmq::send_flags::sndmore : zmq::send_flags::none;
        bool isSent = false;
        while (!ended_ && !isSent) {
          isSent = trySend(socket, frames[i], more);
          if (!isSent) {
            stalled_.open();
          }
        }
      }
      started_.open();
    }
  }

  static bool trySend(zmq::socket_t& socket, const std::string& frame, zmq::send_flags flags) {
    try {
      return socket.send(zmq::buffer(frame), flags).has_value();
    } catch (const zmq::error_t&) {
      return false;  // the peer is gone for the moment
    }
  }

  const int queue_;
  zmq::context_t context_;
  std::atomic<bool> ended_{false};
  Gate started_;
  Gate stalled_;
  std::thread thread_;
};

class AFlood : public frameworktest::TransportFixture {
 protected:
  /// Binds and closes other endpoints, which has to work while the flood goes on.
  void useNeighbours() {
    const auto begin = std::chrono::steady_clock::now();
    const auto other = freeAddress();
    for (int round = 0; round < rounds; ++round) {
      const auto listener = newListener();
      const auto id = bound(other, listener);
      close(id, listener);
      ASSERT_FALSE(HasFailure());
    }
    const auto time = std::chrono::steady_clock::now() - begin;
    std::cout << "a neighbour's bind and close take "
              << std::chrono::duration_cast<std::chrono::microseconds>(time).count() / rounds
              << " us beside the flood\n";
  }

  /// To be called before the flood: what comes of it must not be taken for the memory used before.
  void noteMemory() { before = residentMemory(); }

  /// \param message  the size of what waits on either side, in bytes
  void expectMemoryFor(std::size_t message) const {
    const std::size_t queued = queuedMessages * message / (1024 * 1024);
    const std::size_t now = residentMemory();
    std::cout << now << " MiB after " << before << " MiB; " << queued << " MiB may wait\n";
    EXPECT_TRUE(!reusesMemory || now < before + queued + slack) << now << " MiB after " << before << " MiB";
  }

  std::size_t before = 0;
};

const std::string number(sizeof(std::uint64_t), '\0');

TEST_F(AFlood, OfQuestionsLeavesItsNeighboursAlone) {
  bound(address, server);
  Flood flood(1000);
  Flood::connected(flood, address, {number, "work"});
  ASSERT_TRUE(server->answered.waitFor(1000));
  useNeighbours();
  framework.bundle("spf_zeromq_transport").Stop();
  EXPECT_TRUE(server->isClosed.isOpen());
}

TEST_F(AFlood, OfLargeQuestionsUsesLittleMemory) {
  bound(address, server);
  noteMemory();
  Flood flood;
  Flood::connected(flood, address, {number, std::string(60 * 1024, 'x')});
  ASSERT_TRUE(server->answered.waitFor(1000));
  useNeighbours();
  expectMemoryFor(60 * 1024);
}

TEST_F(AFlood, OfLargeQuestionsThatHaveToWaitUsesLittleMemory) {
  connectPair();
  noteMemory();
  std::thread asking([this] { EXPECT_EQ(ask("wait", std::chrono::minutes(5)), "answer to wait"); });
  Flood flood;
  Flood::connected(flood, address, {number, std::string(60 * 1024, 'x')});
  EXPECT_TRUE(flood.hasStalled());
  expectMemoryFor(60 * 1024);
  server->mayAnswer.open();
  asking.join();
}

TEST_F(AFlood, OfQuestionsWhoseAnswersNobodyReadsUsesLittleMemory) {
  bound(address, server);
  noteMemory();
  Flood flood;
  Flood::connected(flood, address, {number, "size 1000000"});
  ASSERT_TRUE(flood.hasStarted());
  useNeighbours();
  expectMemoryFor(1000000);
}

TEST_F(AFlood, OfAnswersLeavesItsNeighboursAlone) {
  Flood flood(1000);
  Flood::bound(flood, address, {number, "ok", "answer"});
  connect(address, client);
  ASSERT_TRUE(client->isOpened.wait());
  EXPECT_NE(errorOf("question", std::chrono::milliseconds(1)), "");
  ASSERT_TRUE(flood.hasStarted());
  useNeighbours();
  framework.bundle("spf_zeromq_transport").Stop();
  EXPECT_TRUE(client->isClosed.isOpen());
}

TEST_F(AFlood, OfMessagesWithManyFramesLeavesItsNeighboursAlone) {
  bound(address, server);
  Flood flood;
  Flood::connected(flood, address, std::vector<std::string>(1000, "frame"));
  ASSERT_TRUE(flood.hasStarted());
  useNeighbours();
}

}  // namespace
