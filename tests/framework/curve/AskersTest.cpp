#include <string>

#include <gmock/gmock.h>
#include "Process.hpp"
#include "RawConnection.hpp"

namespace spf::test {

using testing::ElementsAre;

class AnAsker : public testing::Test {
 protected:
  /// Waits for a number of requests, and returns whose they are.
  static std::vector<std::string> askersOf(const Process::Opened& bound, std::size_t count) {
    return bound.endpoint->waitFor([&](const Reports& reports) { return reports.askers.size() >= count; }).askers;
  }

  Process server{"server"};
};

TEST_F(AnAsker, HasTheNameOfTheKeyThatItHasProved) {
  Process alice("alice");
  Process bob("bob");
  for (auto* client : {&alice, &bob}) {
    server.trust(*client);
    client->trust(server);
  }
  const auto bound = server.bound();
  for (auto* client : {&alice, &bob}) {
    client->connect(bound.endpoint->reports().address, "server").endpoint->waitForOpening();
    client->ask("who am I");
  }
  EXPECT_THAT(askersOf(bound, 2), ElementsAre("alice", "bob"));
}

// Its own name counts for nothing, only the file's.
TEST_F(AnAsker, HasTheNameThatTheBoundProcessGivesToTheKey) {
  Process alice("alice");
  server.trust("carol", alice.key().publicKey());
  alice.trust(server);
  const auto bound = server.bound();
  alice.connect(bound.endpoint->reports().address, "server").endpoint->waitForOpening();
  alice.ask("who am I");
  EXPECT_THAT(askersOf(bound, 1), ElementsAre("carol"));
}

TEST_F(AnAsker, HasNoNameWithoutEncryption) {
  for (const std::string address : {"tcp://127.0.0.1:*", "ipc://*", "inproc://asker"}) {
    Process sut("");
    const auto bound = sut.bound(address);
    sut.connect(bound.endpoint->reports().address, "").endpoint->waitForOpening();
    sut.ask("who am I");
    EXPECT_THAT(askersOf(bound, 1), ElementsAre("")) << address;
  }
}

// A key protects connections by tcp only.
TEST_F(AnAsker, HasNoNameOnOtherTransports) {
  for (const std::string address : {"ipc://*", "inproc://asker"}) {
    Process sut("alice");
    sut.trust(sut);
    const auto bound = sut.bound(address);
    sut.connect(bound.endpoint->reports().address, "").endpoint->waitForOpening();
    sut.ask("who am I");
    EXPECT_THAT(askersOf(bound, 1), ElementsAre("")) << address;
  }
}

// ZeroMQ stores what a peer without encryption says about itself as it does the name of a proved key.
TEST_F(AnAsker, CannotGiveItselfANameWithoutEncryption) {
  Process plain("");
  const auto bound = plain.bound();
  auto peer = RawConnection::to(bound.endpoint->reports().address);
  peer.send(zmtp3Greeting(0, "NULL"));
  peer.send(readyCommand(property("Socket-Type", "DEALER") + property("User-Id", "alice")));
  ASSERT_TRUE(peer.hasReceived("ROUTER"));
  peer.send(frame("12345678", true) + frame("who am I", false));
  ASSERT_TRUE(peer.hasReceived("answer to who am I"));
  EXPECT_THAT(askersOf(bound, 1), ElementsAre(""));
}

}  // namespace spf::test
