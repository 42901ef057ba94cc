#include <iomanip>
#include <iostream>
#include <map>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include "ForeignClient.hpp"
#include "Process.hpp"
#include "RecordingProxy.hpp"
#include "WebPeers.hpp"
#include "agent/spf/security/SecretKey.hpp"

// Every kind of bound side against every kind of connecting side: what both show, and what goes over the wire.
namespace spf::test {

using agent::spf::security::PublicKey;
using agent::spf::security::SecretKey;

/// What the other side's trust folder says about a side's key.
enum class Kind {
  noKey,
  trusted,
  unknown,
  removed,   ///< trusted, until both sides have shown how far they are
  added,     ///< unknown, until both sides have shown how far they are
  wrong,     ///< the folder has another key under its name
  noZeroMq,  ///< not a peer at all
};

std::string nameOf(Kind kind) {
  static const std::map<Kind, std::string> names = {{Kind::noKey, "no key"},
                                                    {Kind::trusted, "trusted key"},
                                                    {Kind::unknown, "unknown key"},
                                                    {Kind::removed, "key removed while connected"},
                                                    {Kind::added, "key added while refused"},
                                                    {Kind::wrong, "another key than its name's"},
                                                    {Kind::noZeroMq, "no ZeroMQ"}};
  return names.at(kind);
}

/// What both sides show; empty texts for nothing.
struct Outcome {
  std::string bound;
  std::string connecting;
};

constexpr auto connected = "connected";
constexpr auto keyUnknown = "key unknown";
constexpr auto handshakeFailed = "handshake failed";
constexpr auto noEncryption = "no encryption";
constexpr auto refused = "refused";
constexpr auto brokenOff = "handshake broken off (wrong server key, or not a peer)";
constexpr auto noServerKey = "no key of 'server' is trusted";
constexpr auto noHandshake = "no handshake with the peer so far";

const std::map<std::pair<Kind, Kind>, Outcome> outcomes = {
    {{Kind::noKey, Kind::noKey}, {"", connected}},
    {{Kind::noKey, Kind::trusted}, {noEncryption, noEncryption}},
    {{Kind::noKey, Kind::unknown}, {noEncryption, noEncryption}},
    {{Kind::noKey, Kind::wrong}, {noEncryption, noEncryption}},
    {{Kind::noKey, Kind::noZeroMq}, {"", ""}},
    {{Kind::trusted, Kind::noKey}, {noEncryption, noEncryption}},
    {{Kind::trusted, Kind::trusted}, {"", connected}},
    {{Kind::trusted, Kind::unknown}, {keyUnknown, refused}},
    {{Kind::trusted, Kind::wrong}, {keyUnknown, refused}},
    {{Kind::trusted, Kind::noZeroMq}, {handshakeFailed, ""}},
    {{Kind::unknown, Kind::noKey}, {noEncryption, noEncryption}},
    {{Kind::unknown, Kind::trusted}, {"", noServerKey}},
    {{Kind::unknown, Kind::unknown}, {"", noServerKey}},
    {{Kind::unknown, Kind::wrong}, {"", noServerKey}},
    {{Kind::unknown, Kind::noZeroMq}, {handshakeFailed, ""}},
    {{Kind::wrong, Kind::noKey}, {noEncryption, noEncryption}},
    {{Kind::wrong, Kind::trusted}, {handshakeFailed, brokenOff}},
    {{Kind::wrong, Kind::unknown}, {handshakeFailed, brokenOff}},
    {{Kind::wrong, Kind::wrong}, {handshakeFailed, brokenOff}},
    {{Kind::wrong, Kind::noZeroMq}, {handshakeFailed, ""}},
    {{Kind::noZeroMq, Kind::noKey}, {"", noHandshake}},
    {{Kind::noZeroMq, Kind::trusted}, {"", brokenOff}},
    {{Kind::noZeroMq, Kind::unknown}, {"", brokenOff}},
    {{Kind::noZeroMq, Kind::wrong}, {"", brokenOff}},
    {{Kind::noZeroMq, Kind::noZeroMq}, {"", ""}},
};

Kind atFirst(Kind kind) {
  return kind == Kind::removed ? Kind::trusted : kind == Kind::added ? Kind::unknown : kind;
}

/// Keys are removed before others are added, or a peer that is to be refused could slip in between.
Kind afterRemovals(Kind kind) {
  return kind == Kind::removed || kind == Kind::added ? Kind::unknown : kind;
}

Kind atLast(Kind kind) {
  return kind == Kind::added ? Kind::trusted : afterRemovals(kind);
}

std::string lineOf(const std::string& bound, const std::string& connecting, const std::string& boundShows,
                   const std::string& connectingShows, const std::string& wire) {
  std::ostringstream line;
  line << std::left << std::setw(28) << bound << "| " << std::setw(28) << connecting << "| " << std::setw(38)
       << boundShows << "| " << std::setw(70) << connectingShows << "| " << wire << '\n';
  return line.str();
}

/// The matrix as the tests have found it, in the order of their names.
class Matrix : public testing::Environment {
 public:
  void add(std::string line) { lines_.push_back(std::move(line)); }

  void TearDown() override {
    if (lines_.size() > 1) {
      std::cout << lineOf("bound side", "connecting side", "bound side shows", "connecting side shows", "the wire");
    }
    for (const std::string& line : lines_) {
      std::cout << line;
    }
  }

 private:
  std::vector<std::string> lines_;
};

Matrix& matrix() {
  static auto* const added = dynamic_cast<Matrix*>(testing::AddGlobalTestEnvironment(new Matrix));
  return *added;
}

// Registered before the tests begin.
const Matrix& registered = matrix();

constexpr auto question = "what is the colour of the secret";

class EveryConnection : public testing::TestWithParam<std::tuple<Kind, Kind>> {
 protected:
  static Kind bound() { return std::get<0>(GetParam()); }
  static Kind connecting() { return std::get<1>(GetParam()); }
  static bool hasKey(Kind kind) { return kind != Kind::noKey && kind != Kind::noZeroMq; }

  /// Writes what a process's trust folder says about the other side. One without a key has a key of its name there too.
  static void write(const Process& process, const Process& other, const std::string& name, Kind kind) {
    if (kind == Kind::trusted) {
      process.trust(other);
    } else if (kind == Kind::unknown) {
      process.distrust(name);
    } else {
      process.trust(name, SecretKey::generate().publicKey());
    }
  }

  void writeTrust(Kind ofServer, Kind ofClient) {
    if (written_.first != ofServer) {
      write(client_, server_, "server", ofServer);
    }
    if (written_.second != ofClient) {
      write(server_, client_, "client", ofClient);
    }
    written_ = {ofServer, ofClient};
  }

  void start() {
    writeTrust(atFirst(bound()), atFirst(connecting()));
    std::string address = web_.address();
    if (bound() != Kind::noZeroMq) {
      boundSide_ = server_.bound().endpoint;
      address = boundSide_->reports().address;
    }
    proxy_.emplace(address);
    if (connecting() != Kind::noZeroMq) {
      connectingSide_ = client_.connect(proxy_->address(), hasKey(connecting()) ? "server" : "").endpoint;
    }
  }

  void expectConnectingSide(const std::string& expected) {
    connectingSide_->waitFor([&](const Reports& reports) {
      const bool isOpen = reports.last() == "opened";
      return expected == connected ? isOpen : !isOpen && reports.reason == expected;
    });
  }

  /// Waits until both sides show what is expected, and checks the question and the wire.
  void expect(const Outcome& outcome) {
    if (connecting() == Kind::noZeroMq) {
      askAsWebBrowser(proxy_->address());
    } else {
      expectConnectingSide(outcome.connecting);
    }
    if (!outcome.bound.empty()) {
      boundSide_->waitFor([&](const Reports& reports) {
        return reports.refused > refusedBefore_ && reports.lastRefusal == outcome.bound;
      });
    }
    if (connecting() != Kind::noZeroMq) {
      askQuestion(outcome.connecting == connected);
      if (!outcome.bound.empty()) {
        pushQuestion();
      }
    }
  }

  /// Sends the question without waiting for anything, as no transport of this system does, but any program may.
  void pushQuestion() {
    const auto asked = boundSide_->reports().askers.size();
    RecordingProxy proxy(boundSide_->reports().address);
    zmq::context_t context;
    auto peer = connecting() == Kind::noKey ? ForeignClient(context, proxy.address())
                                            : ForeignClient(context, proxy.address(), client_.key(), expectedKey());
    peer.send(question);
    EXPECT_TRUE(proxy.waitForEnd());
    EXPECT_EQ(proxy.recorded().find(question), std::string::npos);
    EXPECT_EQ(boundSide_->reports().askers.size(), asked);
  }

  /// Returns the key that the connecting side takes for the server's.
  PublicKey expectedKey() const {
    return bound() == Kind::wrong ? SecretKey::generate().publicKey() : server_.key().publicKey();
  }

  void askQuestion(bool isConnected) {
    const bool isEncrypted = hasKey(bound());
    const auto asked = boundSide_->reports().askers.size();
    if (isConnected) {
      const auto size = proxy_->recorded().size();
      EXPECT_EQ(client_.ask(question), std::string("answer to ") + question);
      EXPECT_GT(proxy_->recorded().size(), size + std::string(question).size()) << "the proxy is passed by";
      EXPECT_EQ(boundSide_->reports().askers.back(), isEncrypted ? "client" : "");
    } else {
      EXPECT_THROW(client_.ask(question), std::runtime_error);
      EXPECT_EQ(boundSide_->reports().askers.size(), asked);
    }
    const bool isReadable = proxy_->recorded().find(question) != std::string::npos;
    EXPECT_EQ(isReadable, isConnected && !isEncrypted);
    wire_ = isReadable ? "plain text" : isConnected ? "encrypted" : "nothing";
  }

  Process server_{hasKey(bound()) ? "server" : ""};
  Process client_{hasKey(connecting()) ? "client" : ""};
  const WebServer web_;
  std::shared_ptr<RecordedEndpoint> boundSide_ = std::make_shared<RecordedEndpoint>();
  std::shared_ptr<RecordedEndpoint> connectingSide_ = std::make_shared<RecordedEndpoint>();
  std::optional<RecordingProxy> proxy_;
  std::pair<std::optional<Kind>, std::optional<Kind>> written_;
  std::uint32_t refusedBefore_ = 0;
  std::string wire_ = "nothing";
};

std::string shownAs(const std::string& text) {
  return text.empty() ? "-" : text;
}

std::string inTurn(const std::string& first, const std::string& last) {
  return first == last ? first : shownAs(first) + ", then " + shownAs(last);
}

TEST_P(EveryConnection, ShowsOnBothSidesWhatItIs) {
  start();
  const Outcome first = outcomes.at({atFirst(bound()), atFirst(connecting())});
  expect(first);
  Outcome shown = first;
  std::string wire = wire_;
  int openings = first.connecting == connected ? 1 : 0;
  if (atLast(bound()) != atFirst(bound()) || atLast(connecting()) != atFirst(connecting())) {
    writeTrust(afterRemovals(bound()), afterRemovals(connecting()));
    const Outcome between = outcomes.at({afterRemovals(bound()), afterRemovals(connecting())});
    if (!between.connecting.empty()) {
      expectConnectingSide(between.connecting);
    }
    refusedBefore_ = boundSide_->reports().refused;
    writeTrust(atLast(bound()), atLast(connecting()));
    const Outcome last = outcomes.at({atLast(bound()), atLast(connecting())});
    expect(last);
    openings += last.connecting == connected ? 1 : 0;
    shown = {inTurn(first.bound, last.bound), inTurn(first.connecting, last.connecting)};
    wire = inTurn(wire, wire_);
  }
  EXPECT_EQ(connectingSide_->reports().count("opened"), openings) << "a refused peer was connected";
  client_.stop();
  server_.stop();
  if (shown.bound.empty()) {
    EXPECT_EQ(boundSide_->reports().refused, 0u);
  }
  matrix().add(lineOf(nameOf(bound()), nameOf(connecting()), shownAs(shown.bound), shownAs(shown.connecting), wire));
}

std::string nameOfTest(const testing::TestParamInfo<std::tuple<Kind, Kind>>& info) {
  static const std::map<Kind, std::string> names = {{Kind::noKey, "NoKey"},        {Kind::trusted, "TrustedKey"},
                                                    {Kind::unknown, "UnknownKey"}, {Kind::removed, "RemovedKey"},
                                                    {Kind::added, "AddedKey"},     {Kind::wrong, "WrongKey"},
                                                    {Kind::noZeroMq, "NoZeroMq"}};
  return "Bound" + names.at(std::get<0>(info.param)) + "Connecting" + names.at(std::get<1>(info.param));
}

const auto everyKind =
    testing::Values(Kind::noKey, Kind::trusted, Kind::unknown, Kind::removed, Kind::added, Kind::wrong, Kind::noZeroMq);

INSTANTIATE_TEST_SUITE_P(TheMatrix, EveryConnection, testing::Combine(everyKind, everyKind), nameOfTest);

}  // namespace spf::test
