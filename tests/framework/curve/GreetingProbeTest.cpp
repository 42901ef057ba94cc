#include "GreetingProbe.hpp"

#include <chrono>
#include <optional>
#include <string>

#include <gtest/gtest.h>
#include <poll.h>
#include <zmq.hpp>
#include "RawConnection.hpp"
#include "agent/spf/frameworksupport/Address.hpp"
#include "spf/test/Gate.hpp"
#include "support/Resources.hpp"

namespace spf::test {

using agent::spf::frameworksupport::parseAddress;
using frameworktest::openDescriptors;
using zeromq::GreetingProbe;
using Clock = GreetingProbe::Clock;
using Outcome = GreetingProbe::Outcome;

namespace {

/// Polls a probe as a loop does, until it waits for input, or has an outcome.
std::optional<Outcome> pollUntilReading(GreetingProbe& sut) {
  auto outcome = sut.poll(Clock::now());
  while (!outcome && !sut.isReading()) {
    pollfd item{sut.descriptor(), POLLOUT, 0};
    EXPECT_EQ(poll(&item, 1, static_cast<int>(std::chrono::milliseconds(patience).count())), 1);
    outcome = sut.poll(Clock::now());
  }
  return outcome;
}

Outcome outcomeOf(GreetingProbe& sut) {
  auto outcome = pollUntilReading(sut);
  while (!outcome) {
    pollfd item{sut.descriptor(), POLLIN, 0};
    EXPECT_EQ(poll(&item, 1, static_cast<int>(std::chrono::milliseconds(patience).count())), 1);
    outcome = sut.poll(Clock::now());
  }
  return *outcome;
}

/// A socket of ZeroMQ that listens.
class Listening {
 public:
  explicit Listening(bool isEncrypted) : socket_(context_, zmq::socket_type::router) {
    socket_.set(zmq::sockopt::linger, 0);
    if (isEncrypted) {
      char publicKey[41];
      char secretKey[41];
      EXPECT_EQ(zmq_curve_keypair(publicKey, secretKey), 0);
      socket_.set(zmq::sockopt::curve_server, true);
      socket_.set(zmq::sockopt::curve_secretkey, secretKey);
    }
    socket_.bind("tcp://127.0.0.1:*");
  }

  std::string address() const { return socket_.get(zmq::sockopt::last_endpoint); }

 private:
  zmq::context_t context_;
  zmq::socket_t socket_;
};

class AGreetingProbe : public testing::Test {
 protected:
  static Outcome probe(const std::string& address, const std::string& mechanism) {
    GreetingProbe sut(parseAddress(address), mechanism, Clock::now());
    return outcomeOf(sut);
  }

  /// Returns the outcome if a server sends some bytes and closes the connection.
  static Outcome probeServerThatSends(const std::string& bytes) {
    const RawServer server;
    GreetingProbe sut(parseAddress(server.address()), "CURVE", Clock::now());
    EXPECT_EQ(pollUntilReading(sut), std::nullopt);
    {
      auto connection = server.accept();
      EXPECT_TRUE(connection.hasReceived(zmtp3Greeting(0, "CURVE").substr(0, 11)));
      connection.send(bytes);
    }
    return outcomeOf(sut);
  }
};

TEST_F(AGreetingProbe, FindsThatAPeerEncryptsAsThisProcessDoes) {
  const Listening peer(/*isEncrypted=*/true);
  EXPECT_EQ(probe(peer.address(), "CURVE"), Outcome::sameMechanism);
}

TEST_F(AGreetingProbe, FindsThatNeitherEncrypts) {
  const Listening peer(/*isEncrypted=*/false);
  EXPECT_EQ(probe(peer.address(), "NULL"), Outcome::sameMechanism);
}

TEST_F(AGreetingProbe, FindsThatOnlyThisProcessEncrypts) {
  const Listening peer(/*isEncrypted=*/false);
  EXPECT_EQ(probe(peer.address(), "CURVE"), Outcome::otherMechanism);
}

TEST_F(AGreetingProbe, FindsThatOnlyThePeerEncrypts) {
  const Listening peer(/*isEncrypted=*/true);
  EXPECT_EQ(probe(peer.address(), "NULL"), Outcome::otherMechanism);
}

TEST_F(AGreetingProbe, LetsAPeerOfAnotherMechanismSeeTheWholeGreeting) {
  const RawServer server;
  GreetingProbe sut(parseAddress(server.address()), "CURVE", Clock::now());
  EXPECT_EQ(pollUntilReading(sut), std::nullopt);
  auto connection = server.accept();
  connection.send(zmtp3Greeting(1, "NULL"));
  EXPECT_EQ(outcomeOf(sut), Outcome::otherMechanism);
  EXPECT_TRUE(connection.hasReceived(zmtp3Greeting(0, "CURVE")));
}

TEST_F(AGreetingProbe, SaysNoMoreThanItHasToToAPeerOfTheSameMechanism) {
  const RawServer server;
  auto connection = [&] {
    GreetingProbe sut(parseAddress(server.address()), "CURVE", Clock::now());
    EXPECT_EQ(pollUntilReading(sut), std::nullopt);
    auto accepted = server.accept();
    accepted.send(zmtp3Greeting(1, "CURVE"));
    EXPECT_EQ(outcomeOf(sut), Outcome::sameMechanism);
    return accepted;
  }();
  EXPECT_TRUE(connection.isDisconnected());
  EXPECT_EQ(connection.received(), zmtp3Greeting(0, "CURVE").substr(0, 11));
}

TEST_F(AGreetingProbe, TakesNothingElseForAGreeting) {
  EXPECT_EQ(probeServerThatSends(""), Outcome::unknown);
  EXPECT_EQ(probeServerThatSends("HTTP/1.0 400 Bad Request\r\n\r\n"), Outcome::unknown);
  EXPECT_EQ(probeServerThatSends(std::string(64, 'x')), Outcome::unknown);
  EXPECT_EQ(probeServerThatSends(zmtp3Greeting(0, "NULL").substr(0, 63)), Outcome::unknown);
  auto oldVersion = zmtp3Greeting(0, "NULL");
  oldVersion[10] = 2;
  EXPECT_EQ(probeServerThatSends(oldVersion), Outcome::unknown);
  auto oddSignature = zmtp3Greeting(0, "NULL");
  oddSignature[9] = 0;
  EXPECT_EQ(probeServerThatSends(oddSignature), Outcome::unknown);
}

TEST_F(AGreetingProbe, ReadsAMechanismThatFillsItsField) {
  EXPECT_EQ(probeServerThatSends(zmtp3Greeting(0, std::string(20, 'M'))), Outcome::otherMechanism);
}

TEST_F(AGreetingProbe, KnowsNothingOfAPortThatNobodyListensAt) {
  std::string address;
  {
    const RawServer server;
    address = server.address();
  }
  EXPECT_EQ(probe(address, "CURVE"), Outcome::unknown);
}

TEST_F(AGreetingProbe, LeavesNoDescriptorOpenWhereverItEnds) {
  const RawServer server;
  const auto before = openDescriptors();
  {
    GreetingProbe connecting(parseAddress(server.address()), "CURVE", Clock::now());
    GreetingProbe reading(parseAddress(server.address()), "CURVE", Clock::now());
    EXPECT_EQ(pollUntilReading(reading), std::nullopt);
    EXPECT_GT(openDescriptors(), before);
  }
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(AGreetingProbe, GivesUpASilentPeerAtItsDeadline) {
  const RawServer server;
  GreetingProbe sut(parseAddress(server.address()), "CURVE", Clock::now());
  EXPECT_EQ(pollUntilReading(sut), std::nullopt);
  const auto connection = server.accept();
  EXPECT_EQ(sut.poll(sut.deadline() - std::chrono::milliseconds(1)), std::nullopt);
  EXPECT_EQ(sut.poll(sut.deadline()), Outcome::unknown);
  EXPECT_EQ(sut.poll(sut.deadline()), Outcome::unknown);
}

}  // namespace

}  // namespace spf::test
