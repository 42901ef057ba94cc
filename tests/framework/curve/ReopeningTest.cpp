#include <atomic>
#include <cerrno>
#include <future>
#include <stdexcept>
#include <string>
#include <thread>

#include <dlfcn.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include "Process.hpp"
#include "RawConnection.hpp"
#include "spf/test/Gate.hpp"
#include "zeromq/DescriptorLimit.hpp"

namespace {

std::atomic<bool> isEachAddressTaken{false};

/// Holds a thread.
struct Hold {
  spf::test::Gate isReached;
  spf::test::Gate mayGoOn;
};

/// Stops the next thread that sets an option of TCP, as ZeroMQ's own thread does for each accepted connection.
std::atomic<Hold*> hold{nullptr};

}  // namespace

// These replace the system's functions.
extern "C" [[gnu::visibility("default")]] int bind(int descriptor, const sockaddr* address, socklen_t size) noexcept {
  static const auto real = reinterpret_cast<int (*)(int, const sockaddr*, socklen_t)>(dlsym(RTLD_NEXT, "bind"));
  if (isEachAddressTaken) {
    errno = EADDRINUSE;
    return -1;
  }
  return real(descriptor, address, size);
}

extern "C" [[gnu::visibility("default")]] int setsockopt(int descriptor, int level, int name, const void* value,
                                                         socklen_t size) noexcept {
  static const auto real =
      reinterpret_cast<int (*)(int, int, int, const void*, socklen_t)>(dlsym(RTLD_NEXT, "setsockopt"));
  if (Hold* reached = level == IPPROTO_TCP ? hold.exchange(nullptr) : nullptr) {
    reached->isReached.open();
    EXPECT_TRUE(reached->mayGoOn.wait());
  }
  return real(descriptor, level, name, value, size);
}

namespace spf::test {

using frameworktest::DescriptorShortage;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr auto keyGone = "lost: a key is no longer trusted";

class AReopenedEndpoint : public testing::Test {
 protected:
  AReopenedEndpoint() {
    for (const auto* client : {&alice, &bob}) {
      server.trust(*client);
      client->trust(server);
    }
  }

  /// Binds an endpoint, and connects a client to it.
  Process::Opened boundTo(Process& client, const std::string& address = "tcp://127.0.0.1:*") {
    auto bound = server.bound(address);
    clientsEnd = client.connect(bound.endpoint->reports().address, "server");
    clientsEnd.endpoint->waitForOpening();
    return bound;
  }

  Process alice{"alice"};
  Process bob{"bob"};
  Process server{"server"};
  Process::Opened clientsEnd{};
};

TEST_F(AReopenedEndpoint, KeepsThePortOfAWildcard) {
  const auto sut = boundTo(alice);
  const auto address = sut.endpoint->reports().address;
  server.distrust(alice);
  EXPECT_EQ(sut.endpoint->waitForOpening(2).address, address);
  EXPECT_THAT(sut.endpoint->reports().changes, ElementsAre("opened", keyGone, "opened"));
  bob.connect(address, "server").endpoint->waitForOpening();
  EXPECT_EQ(bob.ask("question"), "answer to question");
}

TEST_F(AReopenedEndpoint, KeepsThePortOfAWildcardOnAllInterfaces) {
  const auto sut = server.bound("tcp://*:*");
  const auto address = sut.endpoint->reports().address;
  const auto loopback = "tcp://127.0.0.1" + address.substr(address.rfind(':'));
  clientsEnd = alice.connect(loopback, "server");
  clientsEnd.endpoint->waitForOpening();
  server.distrust(alice);
  EXPECT_EQ(sut.endpoint->waitForOpening(2).address, address);
}

TEST_F(AReopenedEndpoint, LetsTheOtherPeersInAgain) {
  const auto sut = boundTo(alice);
  const auto other = bob.connect(sut.endpoint->reports().address, "server");
  other.endpoint->waitForOpening();
  server.distrust(alice);
  clientsEnd.endpoint->waitForReason("refused");
  other.endpoint->waitForOpening(2);
  EXPECT_EQ(bob.ask("question"), "answer to question");
}

TEST_F(AReopenedEndpoint, IsTheOnlyOneThatHadThePeer) {
  const auto other = boundTo(bob);
  const auto sut = boundTo(alice);
  server.distrust(alice);
  sut.endpoint->waitForOpening(2);
  EXPECT_THAT(other.endpoint->reports().changes, ElementsAre("opened"));
  EXPECT_EQ(bob.ask("question"), "answer to question");
}

TEST_F(AReopenedEndpoint, IsReopenedWhenTheKeyGetsAnotherName) {
  const auto sut = boundTo(alice);
  server.distrust(alice);
  server.trust("carol", alice.key().publicKey());
  sut.endpoint->waitForOpening(2);
  clientsEnd.endpoint->waitForOpening(2);
  alice.ask("who am I");
  EXPECT_THAT(sut.endpoint->reports().askers, ElementsAre("carol"));
}

// A second change while the first one is under way.
TEST_F(AReopenedEndpoint, IsReopenedAgainAndAgain) {
  const auto sut = boundTo(alice);
  for (int round = 2; round < 5; ++round) {
    server.distrust(alice);
    sut.endpoint->waitForOpening(round);
    clientsEnd.endpoint->waitForReason("refused");
    server.trust(alice);
    clientsEnd.endpoint->waitForOpening(round);
  }
  EXPECT_EQ(alice.ask("question"), "answer to question");
}

TEST_F(AReopenedEndpoint, MayBeClosedMeanwhile) {
  const auto sut = boundTo(alice);
  const auto address = sut.endpoint->reports().address;
  sut.endpoint->onLoss([&] { server.transport().close(sut.id); });
  server.distrust(alice);
  sut.endpoint->waitForChange("closed");
  const auto next = server.bound(address);
  server.stop();
  EXPECT_THAT(sut.endpoint->reports().changes, ElementsAre("opened", keyGone, "closed"));
  EXPECT_THAT(next.endpoint->reports().changes, ElementsAre("opened", "closed"));
}

TEST_F(AReopenedEndpoint, MayBeStoppedMeanwhile) {
  const auto sut = boundTo(alice);
  Gate isLost;
  Gate mayGoOn;
  sut.endpoint->onLoss([&] {
    isLost.open();
    EXPECT_TRUE(mayGoOn.wait());
  });
  server.distrust(alice);
  ASSERT_TRUE(isLost.wait());
  std::thread stopping([&] { server.stop(); });
  mayGoOn.open();
  stopping.join();
  const auto reports = sut.endpoint->reports();
  EXPECT_EQ(reports.last(), "closed");
  EXPECT_EQ(reports.count("closed"), 1);
}

TEST_F(AReopenedEndpoint, IsBoundAgainOnceItsAddressIsFree) {
  const auto sut = boundTo(alice);
  const auto address = sut.endpoint->reports().address;
  sut.endpoint->onLoss([] { isEachAddressTaken = true; });
  server.distrust(alice);
  sut.endpoint->waitForReason("Address already in use");
  // Every try fails, not just the first.
  sut.endpoint->waitFor([](const Reports& reports) { return reports.tries >= 3; });
  isEachAddressTaken = false;
  EXPECT_EQ(sut.endpoint->waitForOpening(2).address, address);
  EXPECT_THAT(sut.endpoint->reports().changes, ElementsAre("opened", keyGone, "opened"));
  bob.connect(address, "server").endpoint->waitForOpening();
}

TEST_F(AReopenedEndpoint, MayBeClosedWhileItsAddressIsTaken) {
  const auto sut = boundTo(alice);
  sut.endpoint->onLoss([] { isEachAddressTaken = true; });
  server.distrust(alice);
  sut.endpoint->waitForReason("Address already in use");
  server.transport().close(sut.id);
  EXPECT_THAT(sut.endpoint->waitForChange("closed").changes, ElementsAre("opened", keyGone, "closed"));
  isEachAddressTaken = false;
}

TEST_F(AReopenedEndpoint, IsBoundAgainAfterAShortageOfDescriptors) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer's own checks need a file descriptor";
#endif
  DescriptorShortage shortage;
  const auto sut = boundTo(alice);
  const auto address = sut.endpoint->reports().address;
  sut.endpoint->onLoss([&] { shortage.begin(); });
  server.distrust(alice);
  sut.endpoint->waitForReason(DescriptorShortage::reason);
  shortage.end();
  EXPECT_EQ(sut.endpoint->waitForOpening(2).address, address);
  EXPECT_THAT(sut.endpoint->reports().changes, ElementsAre("opened", keyGone, "opened"));
  bob.connect(address, "server").endpoint->waitForOpening();
}

TEST_F(AReopenedEndpoint, WarnsWhileItsAddressIsNotReleased) {
  const auto sut = boundTo(alice);
  const auto address = sut.endpoint->reports().address;
  Hold releasing;
  hold = &releasing;
  const auto holding = RawConnection::to(address);
  ASSERT_TRUE(releasing.isReached.wait());
  server.distrust(alice);
  const auto reports = sut.endpoint->waitFor([](const Reports& all) { return !all.warnings.empty(); });
  EXPECT_THAT(reports.warnings.front(), AllOf(HasSubstr("tcp://127.0.0.1:*"), HasSubstr("still not free")));
  EXPECT_THAT(reports.changes, ElementsAre("opened", keyGone));
  releasing.mayGoOn.open();
  EXPECT_EQ(sut.endpoint->waitForOpening(2).address, address);
}

// The question is asked while the socket is being closed: it may have reached it, but nobody answers it.
TEST_F(AReopenedEndpoint, AnswersNoQuestionOfBefore) {
  const auto sut = boundTo(alice);
  Gate isLost;
  Gate mayGoOn;
  sut.endpoint->onLoss([&] {
    isLost.open();
    EXPECT_TRUE(mayGoOn.wait());
  });
  server.distrust(alice);
  ASSERT_TRUE(isLost.wait());
  auto asking = std::async(std::launch::async, [&] { return alice.ask("first"); });
  mayGoOn.open();
  EXPECT_THROW(asking.get(), std::runtime_error);
  sut.endpoint->waitForOpening(2);
  server.trust(alice);
  clientsEnd.endpoint->waitForOpening(2);
  EXPECT_EQ(alice.ask("second"), "answer to second");
  EXPECT_THAT(sut.endpoint->reports().requests, ElementsAre("second"));
}

}  // namespace spf::test
