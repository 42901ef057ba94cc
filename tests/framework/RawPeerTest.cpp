#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>
#include <zmq.hpp>
#include "support/TestListener.hpp"

namespace {

/// Connects to an endpoint.
/// \param address  `tcp://` with a numeric host of IPv4
/// \return the descriptor
int connectTo(const std::string& address) {
  const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const auto host = address.substr(6, address.rfind(':') - 6);
  sockaddr_in where{};
  where.sin_family = AF_INET;
  where.sin_port = htons(static_cast<std::uint16_t>(std::stoi(address.substr(address.rfind(':') + 1))));
  inet_pton(AF_INET, host.c_str(), &where.sin_addr);
  EXPECT_EQ(connect(descriptor, reinterpret_cast<const sockaddr*>(&where), sizeof(where)), 0);
  return descriptor;
}

/// A peer with its own implementation of ZeroMQ's protocol, which can leave messages unfinished.
class RawPeer {
 public:
  /// Connects to an endpoint.
  /// \param address  `tcp://` with a numeric host of IPv4
  explicit RawPeer(const std::string& address) : socket_(connectTo(address)) { shakeHands(); }
  ~RawPeer() { close(socket_); }
  RawPeer(const RawPeer&) = delete;
  RawPeer& operator=(const RawPeer&) = delete;

  void sendFrame(const std::string& content, bool more) {
    const char flags = static_cast<char>(more ? 1 : 0);
    send(std::string{flags, static_cast<char>(content.size())} + content);
  }

  /// Sends the header of a frame without its content.
  void announceFrame(std::uint64_t size) {
    std::string header{3};  // more frames follow; the size has eight bytes
    for (int shift = 56; shift >= 0; shift -= 8) {
      header += static_cast<char>(size >> shift & 0xff);
    }
    send(header);
  }

  /// Reads until the other side closes the connection.
  bool isDisconnected() {
    std::array<char, 256> buffer{};
    ssize_t count = 0;
    while ((count = recv(socket_, buffer.data(), buffer.size(), 0)) > 0) {
    }
    return count == 0 || errno == ECONNRESET;
  }

  /// Reads until a text has arrived.
  bool hasReceived(const std::string& text) {
    std::array<char, 256> buffer{};
    while (received_.find(text) == std::string::npos) {
      const auto count = recv(socket_, buffer.data(), buffer.size(), 0);
      if (count <= 0) {
        return false;
      }
      received_.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return true;
  }

 private:
  void send(const std::string& bytes) {
    EXPECT_EQ(::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
  }

  void shakeHands() {
    const timeval patience{20, 0};
    setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
    std::string greeting("\xff\0\0\0\0\0\0\0\1\x7f\3\0NULL", 16);
    greeting.resize(64, '\0');
    send(greeting);
    const std::string ready = std::string("\5READY\xbSocket-Type\0\0\0\6DEALER", 28);
    send(std::string{4, static_cast<char>(ready.size())} + ready);
    EXPECT_TRUE(hasReceived("ROUTER"));
  }

  const int socket_;
  std::string received_;
};

class ARawPeer : public frameworktest::TransportFixture {};

const std::string number("\0\0\0\0\0\0\0\7", 8);

TEST_F(ARawPeer, IsAnsweredLikeAnyOther) {
  bound(address, server);
  RawPeer peer(address);
  peer.sendFrame(number, true);
  peer.sendFrame("question", false);
  EXPECT_TRUE(peer.hasReceived("answer to question"));
}

// As a transport does that looks for the reason of a failed try.
TEST_F(ARawPeer, IsNoHarmWhenItConnectsAndClosesAtOnce) {
  connectPair();
  for (int i = 0; i < 50; ++i) {
    ::close(connectTo(address));
  }
  EXPECT_EQ(ask("question"), "answer to question");
  const RawPeer peer(address);
  EXPECT_EQ(client->losses.count(), 0);
}

TEST_F(ARawPeer, IsDisconnectedForAFrameLargerThanAnyQuestion) {
  bound(address, server);
  RawPeer peer(address);
  peer.announceFrame(64 * 1024 + 1);
  EXPECT_TRUE(peer.isDisconnected());
}

TEST_F(ARawPeer, DoesNotDisturbOthersByAnUnfinishedMessage) {
  connectPair();
  RawPeer peer(address);
  for (int i = 0; i < 1000; ++i) {
    peer.sendFrame("frame", true);
  }
  EXPECT_EQ(ask("question"), "answer to question");
  close(serverID, server);
}

/// A bound peer whose reaction to a question the test implements.
class ARawServer : public frameworktest::TransportFixture {
 protected:
  void SetUp() override {
    socket.set(zmq::sockopt::linger, 0);
    socket.set(zmq::sockopt::rcvtimeo, 20000);
    socket.set(zmq::sockopt::router_mandatory, true);
    socket.bind(address);
    connect(address, client);
    ASSERT_TRUE(client->isOpened.wait());
  }

  /// Asks a question, and calls a function once the peer has received it.
  /// \param react  called with the frames of the asking peer's name and of the number
  std::string errorOfQuestion(const std::function<void(std::vector<zmq::message_t>)>& react) {
    std::thread peer([&] {
      std::vector<zmq::message_t> frames(3);
      for (auto& frame : frames) {
        EXPECT_TRUE(socket.recv(frame));
      }
      frames.pop_back();
      react(std::move(frames));
    });
    const auto error = errorOf("question");
    peer.join();
    return error;
  }

  void answer(std::vector<zmq::message_t> frames, const std::string& text) {
    frames.emplace_back(std::string("ok"));
    for (auto& frame : frames) {
      socket.send(frame, zmq::send_flags::sndmore);
    }
    socket.send(zmq::buffer(text));
  }

  zmq::context_t context;
  zmq::socket_t socket{context, zmq::socket_type::router};
};

TEST_F(ARawServer, FailsPendingQuestionsWhenItCloses) {
  const auto error = errorOfQuestion([this](auto) { socket.close(); });
  EXPECT_THAT(error, testing::HasSubstr("the connection was lost"));
}

TEST_F(ARawServer, IsDisconnectedForAFrameLargerThanAnyAnswer) {
  const auto error =
      errorOfQuestion([this](auto frames) { answer(std::move(frames), std::string(1024 * 1024 + 1, 'x')); });
  EXPECT_TRUE(client->losses.waitFor(1));
  EXPECT_THAT(error, testing::HasSubstr("the connection was lost"));
}

}  // namespace
