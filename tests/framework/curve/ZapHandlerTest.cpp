#include "ZapHandler.hpp"

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include "ForeignClient.hpp"
#include "Monitor.hpp"
#include "agent/spf/security/SecretKey.hpp"
#include "requireZapHandler.hpp"
#include "spf/test/Gate.hpp"

namespace {

using agent::spf::security::PublicKey;
using agent::spf::security::SecretKey;
using agent::spf::security::TrustedKeys;
using spf::zeromq::Judgement;
using spf::zeromq::ZapHandler;
using testing::ElementsAre;
using testing::IsEmpty;
using Frames = std::vector<std::string>;

constexpr std::size_t maxPending = 1000;

class AZapHandler : public testing::Test {
 protected:
  AZapHandler() {
    asking.set(zmq::sockopt::linger, 0);
    asking.set(zmq::sockopt::sndhwm, 0);
    asking.set(zmq::sockopt::rcvhwm, 0);
    asking.connect("inproc://zeromq.zap.01");
  }

  /// Sends a request, as ZeroMQ does, and lets the handler receive it.
  void request(const std::string& id, const PublicKey& key) {
    send({"", "1.0", id, "42", "127.0.0.1", "", "CURVE", {key.bytes().begin(), key.bytes().end()}});
  }

  void send(const Frames& frames) {
    for (std::size_t i = 0; i < frames.size(); ++i) {
      asking.send(zmq::buffer(frames[i]), i + 1 < frames.size() ? zmq::send_flags::sndmore : zmq::send_flags::none);
    }
    sut.receive();
  }

  void answer(std::uint64_t refreshed) {
    sut.answer(refreshed, trusted, [this](const Judgement& judgement) {
      admitted.push_back(judgement.user + " at " + judgement.domain);
      return admits;
    });
  }

  /// Returns ID and status of the replies so far.
  Frames replies() {
    Frames found;
    zmq::message_t frame;
    while (asking.recv(frame, zmq::recv_flags::dontwait)) {
      Frames frames{frame.to_string()};
      while (frame.more() && asking.recv(frame)) {
        frames.push_back(frame.to_string());
      }
      EXPECT_EQ(frames.size(), 7U);
      found.push_back(frames.at(2) + " " + frames.at(3) + " " + frames.at(5));
    }
    return found;
  }

  zmq::context_t context;
  std::uint64_t refreshes = 0;
  ZapHandler sut{context, [this] { return ++refreshes; }};
  zmq::socket_t asking{context, zmq::socket_type::dealer};
  const PublicKey alice = SecretKey::generate().publicKey();
  const PublicKey stranger = SecretKey::generate().publicKey();
  const TrustedKeys trusted{{{"alice", alice}}, {}, {}};
  bool admits = true;
  Frames admitted;
};

TEST_F(AZapHandler, AnswersNothingBeforeARefresh) {
  request("1", alice);
  EXPECT_EQ(refreshes, 1U);
  answer(0);
  EXPECT_THAT(replies(), IsEmpty());
  EXPECT_THAT(admitted, IsEmpty());
  answer(1);
  EXPECT_THAT(replies(), ElementsAre("1 200 alice"));
  EXPECT_THAT(admitted, ElementsAre("alice at 42"));
}

TEST_F(AZapHandler, AnswersOnlyWhatHadArrivedBeforeTheRefresh) {
  request("1", alice);
  request("2", stranger);
  request("3", alice);
  answer(2);
  EXPECT_THAT(replies(), ElementsAre("1 200 alice", "2 400 "));
  answer(7);
  EXPECT_THAT(replies(), ElementsAre("3 200 alice"));
}

TEST_F(AZapHandler, AnswersEachRequestOnce) {
  request("1", alice);
  answer(1);
  answer(2);
  EXPECT_THAT(replies(), ElementsAre("1 200 alice"));
}

TEST_F(AZapHandler, RefusesAPeerWhoseEndpointHasGone) {
  admits = false;
  request("1", alice);
  answer(1);
  EXPECT_THAT(replies(), ElementsAre("1 500 "));
}

TEST_F(AZapHandler, RefusesARequestThatIsNone) {
  send({"", "1.0", "1"});
  answer(1);
  EXPECT_THAT(replies(), ElementsAre("1 500 "));
}

TEST_F(AZapHandler, RefusesARequestWithFarTooManyFrames) {
  Frames frames(100, "x");
  frames[0] = "";
  frames[2] = "1";
  send(frames);
  answer(1);
  EXPECT_THAT(replies(), ElementsAre("1 500 "));
}

TEST_F(AZapHandler, IgnoresWhatCannotBeAnswered) {
  send({"x"});
  send({"x", "1.0", "1"});
  EXPECT_EQ(refreshes, 0U);
  answer(9);
  EXPECT_THAT(replies(), IsEmpty());
}

TEST_F(AZapHandler, TellsPeersToComeLaterIfTooManyWait) {
  for (std::size_t i = 0; i < maxPending; ++i) {
    request("early", alice);
  }
  EXPECT_THAT(replies(), IsEmpty());
  request("late", alice);
  EXPECT_THAT(replies(), ElementsAre("late 300 "));
  answer(refreshes);
  EXPECT_THAT(replies(), testing::AllOf(testing::SizeIs(maxPending), testing::Each("early 200 alice")));
  request("next", alice);
  answer(refreshes);
  EXPECT_THAT(replies(), ElementsAre("next 200 alice"));
}

/// A socket in whose context no handler is bound.
class ASocketWithoutAHandler : public testing::Test {
 protected:
  ASocketWithoutAHandler() {
    sut.set(zmq::sockopt::linger, 0);
    sut.set(zmq::sockopt::curve_server, true);
    sut.set(zmq::sockopt::curve_secretkey, zmq::buffer(key.bytes()));
    sut.set(zmq::sockopt::zap_domain, "42");
  }

  /// Lets a peer connect, and returns the event that its handshake ends with; 0 after the time-out of the tests.
  int outcome() {
    spf::zeromq::Monitor monitor(context, sut, "42",
                                 ZMQ_EVENT_HANDSHAKE_SUCCEEDED | ZMQ_EVENT_HANDSHAKE_FAILED_NO_DETAIL |
                                     ZMQ_EVENT_HANDSHAKE_FAILED_PROTOCOL | ZMQ_EVENT_HANDSHAKE_FAILED_AUTH);
    sut.bind("tcp://127.0.0.1:*");
    spf::test::ForeignClient client(peers, sut.get(zmq::sockopt::last_endpoint), SecretKey::generate(),
                                    key.publicKey());
    std::vector<zmq::pollitem_t> items{{monitor.handle(), -1, ZMQ_POLLIN, 0}};
    zmq::poll(items, spf::test::patience);
    int budget = 2;
    const auto event = monitor.next(budget);
    return event ? event->kind : 0;
  }

  zmq::context_t context;
  zmq::context_t peers;
  const SecretKey key = SecretKey::generate();
  zmq::socket_t sut{context, zmq::socket_type::router};
};

TEST_F(ASocketWithoutAHandler, LetsEverybodyInUnlessItRequiresOne) {
  EXPECT_EQ(outcome(), ZMQ_EVENT_HANDSHAKE_SUCCEEDED);
}

TEST_F(ASocketWithoutAHandler, LetsNobodyInIfItRequiresOne) {
  if (!spf::zeromq::requireZapHandler(sut)) {
    GTEST_SKIP() << "this build of ZeroMQ cannot require a handler";
  }
  EXPECT_EQ(outcome(), ZMQ_EVENT_HANDSHAKE_FAILED_NO_DETAIL);
}

}  // namespace
