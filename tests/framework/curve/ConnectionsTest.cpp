#include <string>

#include <gmock/gmock.h>
#include "Process.hpp"

namespace spf::test {

using agent::spf::security::SecretKey;

constexpr auto brokenOff = "handshake broken off (wrong server key, or not a peer)";
constexpr auto keyGone = "lost: a key is no longer trusted";

class AnEncryptedConnection : public testing::Test {
 protected:
  Process server{"server"};
  Process client{"client"};
};

TEST_F(AnEncryptedConnection, JoinsProcessesThatTrustEachOther) {
  server.trust(client);
  client.trust(server);
  const auto bound = server.bound();
  const auto connected = client.connect(bound.endpoint->reports().address, "server");
  connected.endpoint->waitForOpening();
  EXPECT_EQ(client.ask("question"), "answer to question");
  EXPECT_EQ(bound.endpoint->reports().refused, 0U);
}

TEST_F(AnEncryptedConnection, IsRefusedToAnUnknownKeyUntilItIsTrusted) {
  client.trust(server);
  const auto bound = server.bound();
  const auto connected = client.connect(bound.endpoint->reports().address, "server");
  connected.endpoint->waitForReason("refused");
  bound.endpoint->waitForRefusal("key unknown");
  // The socket is opened anew again and again, although ZeroMQ itself may have given up.
  connected.endpoint->waitFor([](const Reports& reports) { return reports.tries >= 4 && reports.reason == "refused"; });
  EXPECT_FALSE(connected.endpoint->reports().wasOpened());
  server.trust(client);
  connected.endpoint->waitForOpening();
  EXPECT_EQ(client.ask("question"), "answer to question");
}

TEST_F(AnEncryptedConnection, WaitsForTheKeyOfItsPeer) {
  server.trust(client);
  const auto bound = server.bound();
  const auto connected = client.connect(bound.endpoint->reports().address, "server");
  const auto reports = connected.endpoint->waitForReason("no key of 'server' is trusted");
  EXPECT_EQ(reports.tries, 0U);
  client.trust(server);
  connected.endpoint->waitForOpening();
  EXPECT_EQ(client.ask("question"), "answer to question");
}

TEST_F(AnEncryptedConnection, IsBrokenOffIfThePeerHasAnotherKey) {
  server.trust(client);
  client.trust("server", SecretKey::generate().publicKey());
  const auto bound = server.bound();
  const auto connected = client.connect(bound.endpoint->reports().address, "server");
  connected.endpoint->waitForReason(brokenOff);
  bound.endpoint->waitForRefusal("handshake failed");
  connected.endpoint->waitFor([](const Reports& reports) { return reports.tries >= 3; });
  EXPECT_FALSE(connected.endpoint->reports().wasOpened());
  client.trust(server);
  connected.endpoint->waitForOpening();
  EXPECT_EQ(client.ask("question"), "answer to question");
}

TEST_F(AnEncryptedConnection, IsNotMadeToAProcessWithoutAKey) {
  Process plain("");
  client.trust("server", SecretKey::generate().publicKey());
  const auto bound = plain.bound();
  const auto connected = client.connect(bound.endpoint->reports().address, "server");
  connected.endpoint->waitForReason("no encryption");
  bound.endpoint->waitForRefusal("no encryption");
  connected.endpoint->waitFor([](const Reports& reports) { return reports.tries >= 3; });
  EXPECT_FALSE(connected.endpoint->reports().wasOpened());
}

TEST_F(AnEncryptedConnection, IsNotMadeByAProcessWithoutAKey) {
  Process plain("");
  const auto bound = server.bound();
  const auto connected = plain.connect(bound.endpoint->reports().address, "");
  connected.endpoint->waitForReason("no encryption");
  bound.endpoint->waitForRefusal("no encryption");
  // ZeroMQ itself would not try again.
  connected.endpoint->waitFor([](const Reports& reports) { return reports.tries >= 3; });
  EXPECT_FALSE(connected.endpoint->reports().wasOpened());
}

TEST_F(AnEncryptedConnection, EndsWhenTheConnectingProcessTrustsThePeerNoLonger) {
  server.trust(client);
  client.trust(server);
  const auto bound = server.bound();
  const auto connected = client.connect(bound.endpoint->reports().address, "server");
  connected.endpoint->waitForOpening();
  client.distrust(server);
  connected.endpoint->waitForChange(keyGone);
  connected.endpoint->waitForReason("no key of 'server' is trusted");
  client.trust(server);
  connected.endpoint->waitForOpening(2);
  EXPECT_EQ(client.ask("question"), "answer to question");
}

TEST_F(AnEncryptedConnection, EndsWhenThePeersNameGetsAnotherKey) {
  server.trust(client);
  client.trust(server);
  const auto bound = server.bound();
  const auto connected = client.connect(bound.endpoint->reports().address, "server");
  connected.endpoint->waitForOpening();
  client.trust("server", SecretKey::generate().publicKey());
  connected.endpoint->waitForChange(keyGone);
  connected.endpoint->waitForReason(brokenOff);
  EXPECT_EQ(connected.endpoint->reports().count("opened"), 1);
}

TEST_F(AnEncryptedConnection, EndsWhenTheBoundProcessTrustsThePeerNoLonger) {
  server.trust(client);
  client.trust(server);
  const auto bound = server.bound();
  const auto address = bound.endpoint->reports().address;
  const auto connected = client.connect(address, "server");
  connected.endpoint->waitForOpening();
  server.distrust(client);
  bound.endpoint->waitForChange(keyGone);
  EXPECT_EQ(bound.endpoint->waitForOpening(2).address, address);
  connected.endpoint->waitForReason("refused");
  bound.endpoint->waitForRefusal("key unknown");
  EXPECT_EQ(connected.endpoint->reports().count("opened"), 1);
  server.trust(client);
  connected.endpoint->waitForOpening(2);
  EXPECT_EQ(client.ask("question"), "answer to question");
}

TEST_F(AnEncryptedConnection, IsMadeAgainWhenThePeerComesBack) {
  server.trust(client);
  client.trust(server);
  const auto first = server.bound();
  const auto address = first.endpoint->reports().address;
  const auto connected = client.connect(address, "server");
  connected.endpoint->waitForOpening();
  server.transport().close(first.id);
  first.endpoint->waitForChange("closed");
  connected.endpoint->waitForChange("lost: the connection was lost");
  connected.endpoint->waitForReason("Connection refused");
  const auto second = server.bound(address);
  connected.endpoint->waitForOpening(2);
  EXPECT_EQ(client.ask("question"), "answer to question");
}

TEST_F(AnEncryptedConnection, FindsAPeerByItsHostsNameOnceItIsTrusted) {
  client.trust(server);
  const auto bound = server.bound();
  const auto address = bound.endpoint->reports().address;
  const auto port = address.substr(address.rfind(':'));
  const auto connected = client.connect("tcp://localhost" + port, "server");
  connected.endpoint->waitForReason("refused");
  server.trust(client);
  connected.endpoint->waitForOpening();
  EXPECT_EQ(client.ask("question"), "answer to question");
}

// The limits are those of the messages, not of the larger ones on the wire.
TEST_F(AnEncryptedConnection, CarriesTheLargestRequest) {
  server.trust(client);
  client.trust(server);
  const auto bound = server.bound();
  const auto connected = client.connect(bound.endpoint->reports().address, "server");
  connected.endpoint->waitForOpening();
  const std::string largest(64 * 1024, 'x');
  EXPECT_EQ(client.ask(largest), "answer to " + largest);
}

}  // namespace spf::test
