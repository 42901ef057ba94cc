#include <algorithm>
#include <deque>
#include <functional>
#include <string>

#include <gmock/gmock.h>
#include "ForeignClient.hpp"
#include "Process.hpp"

namespace spf::test {

using agent::spf::security::SecretKey;
using testing::IsEmpty;

class ARefusedPeer : public testing::Test {
 protected:
  /// Connects with a key.
  ForeignClient& connect(const SecretKey& key) {
    return clients.emplace_back(context, bound.endpoint->reports().address, key, server.key().publicKey());
  }

  void connectStrangers(int count) {
    for (int i = 0; i < count; ++i) {
      connect(SecretKey::generate());
    }
  }

  zmq::context_t context;
  Process server{"server"};
  const SecretKey alice = SecretKey::generate();
  const Process::Opened bound = server.bound();
  std::deque<ForeignClient> clients;
};

TEST_F(ARefusedPeer, IsCountedOnce) {
  constexpr int strangers = 50;
  connectStrangers(strangers);
  bound.endpoint->waitForRefusal("key unknown", strangers);
  // One more, after everything that is reported about the others.
  connectStrangers(1);
  EXPECT_EQ(bound.endpoint->waitForRefusal("key unknown", strangers + 1).refused, strangers + 1U);
  EXPECT_THAT(bound.endpoint->reports().askers, IsEmpty());
}

TEST_F(ARefusedPeer, IsReportedOnce) {
  constexpr int strangers = 200;
  connectStrangers(strangers);
  const auto reports = bound.endpoint->waitForRefusal("key unknown", strangers);
  EXPECT_EQ(std::adjacent_find(reports.refusals.begin(), reports.refusals.end(), std::greater_equal<>()),
            reports.refusals.end());
  EXPECT_EQ(reports.refusals.back(), static_cast<std::uint32_t>(strangers));
}

TEST_F(ARefusedPeer, DoesNotKeepOthersOut) {
  server.trust("alice", alice.publicKey());
  connectStrangers(100);
  auto& trusted = connect(alice);
  trusted.send("question");
  EXPECT_EQ(trusted.receive(), "answer to question");
  bound.endpoint->waitForRefusal("key unknown", 100);
  EXPECT_THAT(bound.endpoint->reports().askers, testing::ElementsAre("alice"));
}

// The folder is read for each handshake: nothing waits for the next look at it. The first handshake finds that the key
// is gone, and ends with the socket.
TEST_F(ARefusedPeer, IsTheOneWhoseKeyWasRemovedJustBefore) {
  server.trust("alice", alice.publicKey());
  auto& before = connect(alice);
  before.send("first");
  ASSERT_EQ(before.receive(), "answer to first");
  server.distrust("alice");
  connect(alice).send("second");
  bound.endpoint->waitForOpening(2);
  connect(alice).send("third");
  bound.endpoint->waitForRefusal("key unknown", 1);
  EXPECT_EQ(bound.endpoint->reports().askers.size(), 1U);
}

TEST_F(ARefusedPeer, IsNoneThatWasTrustedJustBefore) {
  connect(alice);
  bound.endpoint->waitForRefusal("key unknown", 1);
  server.trust("alice", alice.publicKey());
  auto& client = connect(alice);
  client.send("question");
  EXPECT_EQ(client.receive(), "answer to question");
}

TEST_F(ARefusedPeer, IsCountedOnAfterTheSocketWasReopened) {
  server.trust("alice", alice.publicKey());
  connectStrangers(1);
  bound.endpoint->waitForRefusal("key unknown", 1);
  auto& trusted = connect(alice);
  trusted.send("question");
  ASSERT_EQ(trusted.receive(), "answer to question");
  server.distrust("alice");
  bound.endpoint->waitForOpening(2);
  connectStrangers(1);
  EXPECT_EQ(bound.endpoint->waitForRefusal("key unknown", 2).refused, 2U);
}

}  // namespace spf::test
