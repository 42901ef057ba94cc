#include "ConnectedEndpoint.hpp"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "agent/spf/security/KeyName.hpp"
#include "handshakeReasons.hpp"
#include "messages.hpp"

namespace spf::zeromq {

namespace {

constexpr auto connectionLost = "the connection was lost";
constexpr auto noHandshake = "no handshake with the peer so far";
constexpr auto notBound = "no endpoint of this process is bound to the name";

/// How many failures without a definite reason replace one.
constexpr int maxVagueFailures = 5;

/// How much time passes at least between two probes.
constexpr std::chrono::seconds probeInterval{1};

/// The same for greetings, once a peer has named the right mechanism.
constexpr std::chrono::seconds longGreetingInterval{10};

}  // namespace

void ConnectedEndpoint::onMessages() {
  int budget = framesPerRound;
  while (const auto frames = receiveMessage(socket(), budget)) {
    std::uint64_t number = 0;
    if (frames->size() != 3 || (*frames)[0].size() != sizeof(number)) {
      continue;
    }
    std::memcpy(&number, (*frames)[0].data(), sizeof(number));
    const auto awaited = awaited_.find(number);
    if (awaited == awaited_.end()) {
      continue;  // the request has timed out
    }
    const auto answer = std::move(awaited->second);
    awaited_.erase(awaited);
    if ((*frames)[1].to_string_view() == goodOutcome) {
      answer->succeed((*frames)[2].to_string());
    } else {
      answer->fail("the peer refuses: " + (*frames)[2].to_string());
    }
  }
}

bool ConnectedEndpoint::mayOpen(const SharedState& shared, Clock::time_point now) const {
  if (!isDue(now)) {
    return false;
  }
  if (address().scheme == Scheme::inproc) {
    return shared.boundNames.count(address().where) != 0;
  }
  return description().key.empty() || trustedKey(shared) != nullptr;
}

const agent::spf::security::PublicKey* ConnectedEndpoint::trustedKey(const SharedState& shared) const {
  return shared.trusted->find(description().key);
}

void ConnectedEndpoint::checkPeer(const SharedState& shared) {
  if (phase() == Phase::waiting && !description().key.empty() && trustedKey(shared) == nullptr) {
    reportReason("no key of '" + description().key + "' is trusted");
  }
  if (address().scheme != Scheme::inproc) {
    return;
  }
  const auto bound = shared.boundNames.find(address().where);
  if (isOpen() && (bound == shared.boundNames.end() || bound->second != peer_)) {
    reportLoss(Phase::waiting, connectionLost);
    failRequests(connectionLost);
    startOver();
  }
  if (phase() == Phase::waiting && bound == shared.boundNames.end()) {
    reportReason(notBound);
  }
}

void ConnectedEndpoint::onTrust(const SharedState& shared) {
  if (!serverKey_) {
    return;
  }
  const auto* key = trustedKey(shared);
  if (key != nullptr && *key == *serverKey_) {
    return;
  }
  reportLoss(Phase::waiting, keyNoLongerTrusted);
  failRequests(keyNoLongerTrusted);
  startOver();
}

void ConnectedEndpoint::ask(const std::string& request, std::shared_ptr<Answer> answer) {
  try {
    requireSize("request", request, largestRequest);
  } catch (const std::runtime_error& error) {
    answer->fail(error.what());
    return;
  }
  // A peer drops answers if its queue is full, so no more requests may be pending than a queue holds.
  if (awaited_.size() >= static_cast<std::size_t>(queuedMessages)) {
    answer->fail("the connection takes no more requests now");
    return;
  }
  const std::uint64_t number = ++lastNumber_;
  awaited_.emplace(number, answer);
  std::vector<zmq::message_t> frames;
  frames.emplace_back(&number, sizeof(number));
  frames.emplace_back(request);
  if (!sendMessage(socket(), std::move(frames))) {
    awaited_.erase(number);
    answer->fail("the connection takes no more requests now");
  }
}

void ConnectedEndpoint::forget(const std::shared_ptr<Answer>& answer) {
  for (auto awaited = awaited_.begin(); awaited != awaited_.end();) {
    awaited = awaited->second == answer ? awaited_.erase(awaited) : std::next(awaited);
  }
}

std::size_t ConnectedEndpoint::largestMessage() const {
  return largestAnswer;
}

bool ConnectedEndpoint::checkAddress() {
  if (isWildcard(address()) || (address().scheme == Scheme::tcp && address().where == "*")) {
    throw std::runtime_error("a wildcard can be bound, not connected to");
  }
  return hasUnresolvedHost(address(), InterfaceNames::unknown);
}

void ConnectedEndpoint::checkKey(const SharedState& shared) const {
  const auto& key = description().key;
  if (key.empty()) {
    if (shared.key != nullptr && address().scheme == Scheme::tcp) {
      throw std::runtime_error("the name of the peer's key is missing; expected 'tcp://<host>:<port>#<name>'");
    }
    return;
  }
  if (address().scheme != Scheme::tcp) {
    throw std::runtime_error("the name of a key, '" + key + "', is for connections by tcp only");
  }
  if (!agent::spf::security::isKeyName(key)) {
    throw std::runtime_error("'" + printable(key) + "' is no name of a key; expected " +
                             agent::spf::security::expectedKeyName);
  }
  if (shared.key == nullptr) {
    throw std::runtime_error("the peer has to prove the key of '" + key +
                             "', but this process has no key; expected one, or an address without '#" + key + "'");
  }
}

void ConnectedEndpoint::encrypt(const SharedState& shared) {
  serverKey_ = *trustedKey(shared);
  socket().set(zmq::sockopt::curve_secretkey, zmq::buffer(shared.key->bytes()));
  socket().set(zmq::sockopt::curve_publickey, zmq::buffer(shared.key->publicKey().bytes()));
  socket().set(zmq::sockopt::curve_serverkey, zmq::buffer(serverKey_->bytes()));
}

void ConnectedEndpoint::attach(SharedState& shared) {
  retryInterrupted([this] { socket().connect(toZeroMq(address())); });
  if (address().scheme == Scheme::inproc) {
    peer_ = shared.boundNames.at(address().where);
    becomeOpen(shownAddress());
  } else if (hasHostName()) {
    lookUpAgain();  // cancelled if the connection is established before
  }
}

int ConnectedEndpoint::monitoredEvents() const {
  return ZMQ_EVENT_HANDSHAKE_SUCCEEDED | ZMQ_EVENT_HANDSHAKE_FAILED_NO_DETAIL | ZMQ_EVENT_HANDSHAKE_FAILED_PROTOCOL |
         ZMQ_EVENT_HANDSHAKE_FAILED_AUTH | ZMQ_EVENT_CONNECT_RETRIED | ZMQ_EVENT_DISCONNECTED;
}

void ConnectedEndpoint::onEvent(const MonitorEvent& event) {
  switch (event.kind) {
    case ZMQ_EVENT_HANDSHAKE_SUCCEEDED:
      probe_.reset();
      greeting_.reset();
      nextGreeting_ = {};
      hasHandshakeReason_ = false;
      isReasonDefinite_ = false;
      becomeOpen(shownAddress());
      break;
    case ZMQ_EVENT_CONNECT_RETRIED:
      if (phase() == Phase::opening) {
        onRetry(Clock::now());
      }
      break;
    case ZMQ_EVENT_DISCONNECTED:
      // If the peer speaks another protocol, this is the only report.
      isOpen() || !isEncrypted() ? onLoss() : onFailedHandshake(brokenOff);
      break;
    case ZMQ_EVENT_HANDSHAKE_FAILED_AUTH:
      onFailedHandshake(refusedByPeer);
      break;
    case ZMQ_EVENT_HANDSHAKE_FAILED_PROTOCOL:
      onFailedHandshake(event.value == ZMQ_PROTOCOL_ERROR_ZMTP_MECHANISM_MISMATCH ? noEncryption : brokenOff);
      break;
    default:
      onFailedHandshake(brokenOff);
  }
}

void ConnectedEndpoint::onFailedHandshake(const std::string& reason) {
  if (phase() != Phase::opening) {
    return;
  }
  const bool isDefinite = reason != brokenOff;
  if (!isDefinite) {
    askForMechanism(Clock::now());
  }
  if (!isEncrypted() && !isDefinite) {
    reportFailure(noHandshake, isDefinite);  // ZeroMQ itself tries again
    return;
  }
  reportFailure(reason, isDefinite);
  tryAgainLater(/*stay=*/reason == refusedByPeer);
}

void ConnectedEndpoint::reportFailure(const std::string& reason, bool isDefinite) {
  hasHandshakeReason_ = true;
  vagueFailures_ = isDefinite ? 0 : vagueFailures_ + 1;
  if (isDefinite || !isReasonDefinite_ || vagueFailures_ >= maxVagueFailures) {
    isReasonDefinite_ = isDefinite;
    reportReason(reason);
  }
}

void ConnectedEndpoint::tryAgainLater(bool stay) {
  if (hasHostName()) {
    staysAtAddress_ = stay;
    resetLookUps();
    startOverWithLookUp(nextRetry());
  } else {
    startOverAt(nextRetry());
  }
}

void ConnectedEndpoint::tryAgain() {
  hasHandshakeReason_ = false;
  isReasonDefinite_ = false;
  tryAgainLater(/*stay=*/true);
}

void ConnectedEndpoint::onLoss() {
  if (!isOpen()) {
    return;
  }
  onMessages();  // the answers that have arrived before
  // The peer sends no further answers, because it takes the next connection for another peer.
  failRequests(connectionLost);
  reportLoss(Phase::opening, connectionLost);
  if (isEncrypted()) {
    tryAgainLater(/*stay=*/true);
  } else if (hasHostName()) {
    lookUpAgain();  // ZeroMQ reconnects by itself, but to the same numeric address
  }
}

void ConnectedEndpoint::askForMechanism(Clock::time_point now) {
  if (greeting_ || now < nextGreeting_ || address().scheme != Scheme::tcp) {
    return;
  }
  nextGreeting_ = now + probeInterval;
  probe_.reset();  // there is a peer
  greeting_.emplace(address(), isEncrypted() ? "CURVE" : "NULL", now);
  onProbe(/*isReady=*/true, now);
}

void ConnectedEndpoint::onGreeting(Clock::time_point now) {
  const auto outcome = greeting_->poll(now);
  if (!outcome) {
    return;
  }
  greeting_.reset();
  if (*outcome == GreetingProbe::Outcome::sameMechanism) {
    nextGreeting_ = now + longGreetingInterval;
  } else if (*outcome == GreetingProbe::Outcome::otherMechanism && !isOpen()) {
    reportFailure(noEncryption, /*isDefinite=*/true);
  }
}

Endpoint::ProbeEvent ConnectedEndpoint::probeEvent() const noexcept {
  if (greeting_) {
    return {greeting_->descriptor(), greeting_->isReading()};
  }
  return {probe_ ? probe_->descriptor() : -1, /*isInput=*/false};
}

// ZeroMQ does not report why a try has failed.
void ConnectedEndpoint::onRetry(Clock::time_point now) {
  beginTry();
  if (!greeting_ && !probe_ && nextProbe_ <= now) {
    nextProbe_ = now + probeInterval;
    probe_.emplace(address(), now);
    onProbe(/*isReady=*/true, now);
  }
}

void ConnectedEndpoint::onProbe(bool isReady, Clock::time_point now) {
  if (greeting_ && !isDone()) {
    if (isReady || greeting_->deadline() <= now) {
      onGreeting(now);
    }
    return;
  }
  if (!probe_ || !(isReady || probe_->deadline() <= now)) {
    return;
  }
  const auto outcome = probe_->poll(now);
  if (!outcome) {
    return;
  }
  probe_.reset();
  if (outcome->isPermanent) {
    fail(outcome->reason);
  } else if (!outcome->reason.empty()) {
    hasHandshakeReason_ = false;
    isReasonDefinite_ = false;
    reportReason(outcome->reason);
  } else if (!hasHandshakeReason_) {
    reportReason(noHandshake);
  }
}

std::optional<Endpoint::Clock::time_point> ConnectedEndpoint::deadline() const noexcept {
  const auto own = Endpoint::deadline();
  const auto ofProbe = greeting_ ? std::make_optional(greeting_->deadline())
                       : probe_  ? std::make_optional(probe_->deadline())
                                 : std::nullopt;
  return ofProbe && (!own || *ofProbe < *own) ? ofProbe : own;
}

void ConnectedEndpoint::onResolved(const ResolvedHost& resolved) {
  // Tries one address after the other, until the peer answers at one of them.
  const auto current = std::find(resolved.addresses.begin(), resolved.addresses.end(), address().where);
  if (std::exchange(staysAtAddress_, false) && current != resolved.addresses.end()) {
    startOver();
    return;
  }
  const bool isLast = current == resolved.addresses.end() || std::next(current) == resolved.addresses.end();
  const std::string next = isLast ? resolved.addresses.front() : *std::next(current);
  if (next == address().where && phase() == Phase::opening) {
    lookUpAgain();
    return;
  }
  greeting_.reset();  // of another address
  setHost(next);
  startOver();
}

void ConnectedEndpoint::beforeDrop() {
  probe_.reset();
  serverKey_.reset();
  failRequests("the connection was closed");
}

void ConnectedEndpoint::failRequests(const std::string& reason) {
  for (const auto& [number, answer] : awaited_) {
    answer->fail(reason);
  }
  awaited_.clear();
}

}  // namespace spf::zeromq
