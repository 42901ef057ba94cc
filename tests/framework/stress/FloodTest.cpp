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

/// A peer that repeats a message as fast as possible and reads nothing.
class Flood {
 public:
  /// Creates a peer that does not send yet.
  /// \param queue  how many messages its own queue holds; with many of them the transport's queue stays full
  explicit Flood(int queue = 1) : queue_(queue) {}

  /// Connects, and sends a message of these frames.
  static void connect(Flood& flood, const std::string& address, std::vector<std::string> frames) {
    flood.start([&flood, address, frames] {
      zmq::socket_t socket = flood.newSocket(zmq::socket_type::dealer);
      socket.connect(address);
      flood.sendUntilEnded(socket, frames);
    });
  }

  /// Binds, waits for a question, and floods the asking peer with answers to questions it has not asked.
  static void bind(Flood& flood, const std::string& address, std::vector<std::string> frames) {
    flood.start([&flood, address, frames] {
      zmq::socket_t socket = flood.newSocket(zmq::socket_type::router);
      socket.set(zmq::sockopt::router_mandatory, true);  // waits for the peer instead of dropping
      socket.bind(address);
      zmq::message_t peer;
      while (!flood.ended_ && !socket.recv(peer)) {
      }
      // Read completely: libzmq keeps a lost peer as long as something of it is unread.
      for (zmq::message_t rest; !flood.ended_ && socket.get(zmq::sockopt::rcvmore);) {
        static_cast<void>(socket.recv(rest));
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

  /// Waits until the first message was sent.
  bool hasStarted() { return started_.wait(); }

  /// Waits until the transport has accepted no message for some time.
  bool hasStalled() { return stalled_.wait(); }

  /// Waits until the transport has closed the connection.
  bool hasLostPeer() { return lost_.wait(); }

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
    // Small, because its queues count as memory of the process, which is compared with the transport's limits.
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
            static_cast<void>(socket.get(zmq::sockopt::events));  // notices in passing that a peer is lost
          }
        }
      }
      started_.open();
    }
  }

  bool trySend(zmq::socket_t& socket, const std::string& frame, zmq::send_flags flags) {
    try {
      return socket.send(zmq::buffer(frame), flags).has_value();
    } catch (const zmq::error_t&) {
      lost_.open();
      return false;
    }
  }

  const int queue_;
  zmq::context_t context_;
  std::atomic<bool> ended_{false};
  Gate started_;
  Gate stalled_;
  Gate lost_;
  std::thread thread_;
};

class AFlood : public frameworktest::TransportFixture {
 protected:
  /// Binds and closes other endpoints during the flood.
  void useOtherEndpoints() {
    const auto begin = std::chrono::steady_clock::now();
    const auto other = freeAddress();
    for (int round = 0; round < rounds; ++round) {
      const auto listener = newListener();
      const auto id = bound(other, listener);
      close(id, listener);
      ASSERT_FALSE(HasFailure());
    }
    const auto time = std::chrono::steady_clock::now() - begin;
    std::cout << "binding and closing another endpoint takes "
              << std::chrono::duration_cast<std::chrono::microseconds>(time).count() / rounds
              << " us during the flood\n";
  }

  /// Records the memory in use. Has to be called before the flood starts.
  void noteMemory() { before = residentMemory(); }

  /// Expects no more memory than the queues may use.
  /// \param message  the size of a queued message in bytes
  void expectMemoryFor(std::size_t message) const {
    const std::size_t queued = queuedMessages * message / (1024 * 1024);
    const std::size_t now = residentMemory();
    std::cout << now << " MiB after " << before << " MiB; " << queued << " MiB may be queued\n";
    EXPECT_TRUE(!reusesMemory || now < before + queued + slack) << now << " MiB after " << before << " MiB";
  }

  std::size_t before = 0;
};

const std::string number(sizeof(std::uint64_t), '\0');

TEST_F(AFlood, OfQuestionsDoesNotAffectOtherEndpoints) {
  bound(address, server);
  Flood flood(1000);
  Flood::connect(flood, address, {number, "work"});
  ASSERT_TRUE(server->answered.waitFor(1000));
  useOtherEndpoints();
  framework.bundle("spf_zeromq_transport").Stop();
  EXPECT_TRUE(server->isClosed.isOpen());
}

TEST_F(AFlood, OfLargeQuestionsUsesLittleMemory) {
  bound(address, server);
  noteMemory();
  Flood flood;
  Flood::connect(flood, address, {number, std::string(60 * 1024, 'x')});
  ASSERT_TRUE(server->answered.waitFor(1000));
  useOtherEndpoints();
  expectMemoryFor(60 * 1024);
}

TEST_F(AFlood, OfLargeQueuedQuestionsUsesLittleMemory) {
  connectPair();
  noteMemory();
  std::thread asking([this] { EXPECT_EQ(ask("wait", std::chrono::minutes(5)), "answer to wait"); });
  Flood flood;
  Flood::connect(flood, address, {number, std::string(60 * 1024, 'x')});
  EXPECT_TRUE(flood.hasStalled());
  expectMemoryFor(60 * 1024);
  server->mayAnswer.open();
  asking.join();
}

TEST_F(AFlood, OfQuestionsWithUnreadAnswersUsesLittleMemory) {
  bound(address, server);
  noteMemory();
  Flood flood;
  Flood::connect(flood, address, {number, "size 1000000"});
  ASSERT_TRUE(flood.hasStarted());
  useOtherEndpoints();
  expectMemoryFor(1000000);
}

TEST_F(AFlood, OfAnswersDoesNotAffectOtherEndpoints) {
  Flood flood(1000);
  Flood::bind(flood, address, {number, "ok", "answer"});
  connect(address, client);
  ASSERT_TRUE(client->isOpened.wait());
  EXPECT_NE(errorOf("question", std::chrono::milliseconds(1)), "");
  ASSERT_TRUE(flood.hasStarted());
  useOtherEndpoints();
  framework.bundle("spf_zeromq_transport").Stop();
  EXPECT_TRUE(client->isClosed.isOpen());
  // libzmq ends the process if a socket is closed at the moment in which its connection breaks, in the middle of a
  // message of several frames.
  EXPECT_TRUE(flood.hasLostPeer());
}

TEST_F(AFlood, OfMessagesWithManyFramesDoesNotAffectOtherEndpoints) {
  bound(address, server);
  Flood flood;
  Flood::connect(flood, address, std::vector<std::string>(1000, "frame"));
  ASSERT_TRUE(flood.hasStarted());
  useOtherEndpoints();
}

}  // namespace
