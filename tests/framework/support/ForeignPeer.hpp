#pragma once

#include <atomic>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <zmq.hpp>
#include "spf/test/Gate.hpp"

namespace frameworktest {

/// A peer with ZeroMQ of its own, which counts the connections that it has ever had. Used by one thread.
class ForeignPeer {
 public:
  /// Connects to an endpoint of the framework, and blocks until the connection is established.
  static ForeignPeer connectedTo(const std::string& address) {
    ForeignPeer peer(zmq::socket_type::dealer);
    peer.socket_.connect(address);
    EXPECT_TRUE(peer.waitForConnection(1)) << address;
    return peer;
  }

  /// Listens for connections of the framework.
  static ForeignPeer boundTo(const std::string& address) {
    ForeignPeer peer(zmq::socket_type::router);
    peer.socket_.bind(address);
    return peer;
  }

  /// Blocks until this number of connections were established in all.
  /// \return false after the time-out of the tests
  [[nodiscard]] bool waitForConnection(int number) {
    while (connections_ < number) {
      if (!readEvent(zmq::recv_flags::none)) {
        return false;
      }
    }
    return true;
  }

  /// Returns how many connections were established so far.
  int connections() {
    while (readEvent(zmq::recv_flags::dontwait)) {
    }
    return connections_;
  }

  /// Asks a bound endpoint of the framework what it publishes.
  /// \return the answer; empty after the time-out of the tests
  std::string ask() {
    send({"12345678", R"({"question":"whatDoYouPublish"})"});
    const auto frames = receive();
    return frames.size() == 3 ? frames[2] : "";
  }

  /// Receives a request, and answers it with a text.
  /// \return the name that ZeroMQ has given to the connection; empty after the time-out of the tests
  std::string answer(const std::string& text) {
    const auto frames = receive();
    if (frames.size() != 3) {
      return "";
    }
    send({frames[0], frames[1], "ok", text});
    return frames[0];
  }

 private:
  explicit ForeignPeer(zmq::socket_type type)
      : context_(1), socket_(context_, type), monitor_(context_, zmq::socket_type::pair) {
    const auto limit = static_cast<int>(std::chrono::milliseconds(spf::test::patience).count());
    socket_.set(zmq::sockopt::linger, 0);
    socket_.set(zmq::sockopt::rcvtimeo, limit);
    socket_.set(zmq::sockopt::reconnect_ivl, 1);
    monitor_.set(zmq::sockopt::linger, 0);
    monitor_.set(zmq::sockopt::rcvtimeo, limit);
    constexpr auto name = "inproc://monitor";
    EXPECT_EQ(zmq_socket_monitor(socket_.handle(), name, ZMQ_EVENT_HANDSHAKE_SUCCEEDED), 0);
    monitor_.connect(name);
  }

  bool readEvent(zmq::recv_flags flags) {
    zmq::message_t event;
    zmq::message_t address;
    if (!monitor_.recv(event, flags) || !monitor_.recv(address, zmq::recv_flags::none)) {
      return false;
    }
    ++connections_;  // the only kind of event that is monitored
    return true;
  }

  void send(const std::vector<std::string>& frames) {
    for (std::size_t i = 0; i < frames.size(); ++i) {
      const auto flags = i + 1 < frames.size() ? zmq::send_flags::sndmore : zmq::send_flags::none;
      EXPECT_TRUE(socket_.send(zmq::buffer(frames[i]), flags));
    }
  }

  std::vector<std::string> receive() {
    std::vector<std::string> frames;
    zmq::message_t frame;
    do {
      if (!socket_.recv(frame)) {
        return {};
      }
      frames.push_back(frame.to_string());
    } while (frame.more());
    return frames;
  }

  zmq::context_t context_;
  zmq::socket_t socket_;
  zmq::socket_t monitor_;
  int connections_ = 0;
};

}  // namespace frameworktest
