#include <future>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
#include "ForeignServer.hpp"
#include "Process.hpp"
#include "spf/test/localHostIsKnown.hpp"
#include "zeromq/DescriptorLimit.hpp"

namespace spf::test {

using agent::spf::security::SecretKey;
using frameworktest::DescriptorShortage;
using testing::HasSubstr;

constexpr auto brokenOff = "handshake broken off (wrong server key, or not a peer)";
constexpr auto keyGone = "lost: a key is no longer trusted";

class AnEncryptedConnection : public testing::Test {
 protected:
  /// Returns why a question has failed.
  static std::string failureOf(std::future<std::string>& asking) {
    try {
      return "no failure: " + asking.get();
    } catch (const std::runtime_error& error) {
      return error.what();
    }
  }

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

TEST_F(AnEncryptedConnection, DropsItsQuestionsWhenThePeerIsTrustedNoLonger) {
  ForeignServer silent(server.key());
  client.trust(server);
  const auto connected = client.connect(silent.address(), "server");
  connected.endpoint->waitForOpening();
  auto asking = std::async(std::launch::async, [&] { return client.ask("first"); });
  ASSERT_EQ(silent.receive(), "first");
  client.distrust(server);
  EXPECT_THAT(failureOf(asking), HasSubstr("a key is no longer trusted"));
  client.trust(server);
  connected.endpoint->waitForOpening(2);
  auto askingAgain = std::async(std::launch::async, [&] { return client.ask("second"); });
  EXPECT_EQ(silent.receive(), "second");
  client.stop();
  EXPECT_THAT(failureOf(askingAgain), HasSubstr("the connection was closed"));
}

TEST_F(AnEncryptedConnection, IsMadeAfterAShortageOfDescriptors) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer's own checks need a file descriptor";
#endif
  DescriptorShortage shortage;
  client.trust(server);
  const auto bound = server.bound();
  const auto connected = client.connect(bound.endpoint->reports().address, "server");
  connected.endpoint->waitForReason("refused");
  shortage.begin();
  const auto tries = connected.endpoint->waitForReason(DescriptorShortage::reason).tries;
  // Every try fails, not just the first.
  connected.endpoint->waitFor([&](const Reports& reports) { return reports.tries >= tries + 2; });
  shortage.end();
  connected.endpoint->waitForReason("refused");
  server.trust(client);
  connected.endpoint->waitForOpening();
  EXPECT_EQ(client.ask("question"), "answer to question");
}

// The first try may fail for a reason that stays, so that it is reported at once.
TEST_F(AnEncryptedConnection, FailsIfTheFirstTryMeetsAShortageOfDescriptors) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer's own checks need a file descriptor";
#endif
  DescriptorShortage shortage;
  client.trust(server);
  client.transport();
  shortage.begin();
  const auto connected = client.connect("tcp://127.0.0.1:1", "server");
  const auto hasEnded = [](const Reports& reports) { return !reports.changes.empty(); };
  EXPECT_EQ(
      connected.endpoint->waitFor(hasEnded).last(),
      std::string("failed: cannot open 'tcp://127.0.0.1:1' (discovery name 'server'): ") + DescriptorShortage::reason);
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
  if (!spf::test::localHostIsKnown()) {
    GTEST_SKIP() << spf::test::localHostIsUnknown;
  }
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
