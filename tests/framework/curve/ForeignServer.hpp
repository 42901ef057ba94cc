#pragma once

#include <chrono>
#include <string>

#include <zmq.hpp>
#include "agent/spf/security/SecretKey.hpp"
#include "spf/test/Gate.hpp"

namespace spf::test {

/// A peer with ZeroMQ of its own, which lets everybody in, and answers nothing. Used by one thread.
class ForeignServer {
 public:
  explicit ForeignServer(const agent::spf::security::SecretKey& key) {
    socket_.set(zmq::sockopt::linger, 0);
    socket_.set(zmq::sockopt::curve_server, true);
    socket_.set(zmq::sockopt::curve_secretkey, zmq::buffer(key.bytes()));
    socket_.set(zmq::sockopt::rcvtimeo, static_cast<int>(std::chrono::milliseconds(patience).count()));
    socket_.bind("tcp://127.0.0.1:*");
  }

  std::string address() const { return socket_.get(zmq::sockopt::last_endpoint); }

  /// Returns the text of the next request; empty after the time-out of the tests.
  std::string receive() {
    zmq::message_t frame;
    do {
      if (!socket_.recv(frame)) {
        return "";
      }
    } while (frame.more());
    return frame.to_string();
  }

 private:
  zmq::context_t context_;
  zmq::socket_t socket_{context_, zmq::socket_type::router};
};

}  // namespace spf::test
