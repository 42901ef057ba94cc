#include <string>

#include <gtest/gtest.h>
#include <zmq.hpp>
#include "Keys.hpp"
#include "agent/spf/security/keyFiles.hpp"

namespace spf::test {

using namespace agent::spf::security;

constexpr int patience = 20000;  // ms, so that a failure does not hang
constexpr int linger = 0;

class APairOfKeys : public WithKeys {
 protected:
  APairOfKeys() {
    server_.set(zmq::sockopt::curve_server, true);
    server_.set(zmq::sockopt::rcvtimeo, patience);
    server_.set(zmq::sockopt::linger, linger);
    client_.set(zmq::sockopt::linger, linger);
  }

  zmq::context_t context_;
  zmq::socket_t server_{context_, zmq::socket_type::pull};
  zmq::socket_t client_{context_, zmq::socket_type::push};
};

// Each side has its own secret key, and the public keys of both, from files.
TEST_F(APairOfKeys, EncryptsAConnection) {
  writeKeyPair(KeyName("server"), SecretKey::generate(), folder_.path());
  writeKeyPair(KeyName("client"), SecretKey::generate(), folder_.path());
  const auto serverKey = readSecretKey(path("server.key"));
  const auto clientKey = readSecretKey(path("client.key"));

  server_.set(zmq::sockopt::curve_secretkey, zmq::buffer(serverKey.bytes()));
  server_.bind("tcp://127.0.0.1:*");
  client_.set(zmq::sockopt::curve_secretkey, zmq::buffer(clientKey.bytes()));
  client_.set(zmq::sockopt::curve_publickey, zmq::buffer(readPublicKey(path("client.pub")).bytes()));
  client_.set(zmq::sockopt::curve_serverkey, zmq::buffer(readPublicKey(path("server.pub")).bytes()));
  client_.connect(server_.get(zmq::sockopt::last_endpoint));

  client_.send(zmq::buffer(std::string("fine")), zmq::send_flags::none);
  zmq::message_t message;
  ASSERT_TRUE(server_.recv(message));
  EXPECT_EQ(message.to_string(), "fine");
}

}  // namespace spf::test
