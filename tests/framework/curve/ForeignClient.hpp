#pragma once

#include <chrono>
#include <string>

#include <zmq.hpp>
#include "agent/spf/security/SecretKey.hpp"
#include "spf/test/Gate.hpp"

namespace spf::test {

/// A peer with ZeroMQ of its own, which connects once only. Used by one thread.
class ForeignClient {
 public:
  /// Connects with encryption.
  /// \param key        of the client
  /// \param serverKey  that it expects of the peer
  ForeignClient(zmq::context_t& context, const std::string& address, const agent::spf::security::SecretKey& key,
                const agent::spf::security::PublicKey& serverKey)
      : socket_(context, zmq::socket_type::dealer) {
    socket_.set(zmq::sockopt::curve_secretkey, zmq::buffer(key.bytes()));
    socket_.set(zmq::sockopt::curve_publickey, zmq::buffer(key.publicKey().bytes()));
    socket_.set(zmq::sockopt::curve_serverkey, zmq::buffer(serverKey.bytes()));
    connect(address);
  }

  /// Connects without encryption.
  ForeignClient(zmq::context_t& context, const std::string& address) : socket_(context, zmq::socket_type::dealer) {
    connect(address);
  }

  void send(const std::string& request) {
    socket_.send(zmq::buffer(std::string("12345678")), zmq::send_flags::sndmore);
    socket_.send(zmq::buffer(request));
  }

  /// Returns the answer to a request; empty after the time-out of the tests.
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
  void connect(const std::string& address) {
    socket_.set(zmq::sockopt::linger, 0);
    socket_.set(zmq::sockopt::reconnect_ivl, -1);
    socket_.set(zmq::sockopt::rcvtimeo, static_cast<int>(std::chrono::milliseconds(patience).count()));
    socket_.connect(address);
  }

  zmq::socket_t socket_;
};

}  // namespace spf::test
