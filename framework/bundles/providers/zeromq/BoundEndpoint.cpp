#include "BoundEndpoint.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "handshakeReasons.hpp"
#include "judgeHandshake.hpp"
#include "messages.hpp"
#include "requireZapHandler.hpp"

namespace spf::zeromq {

namespace {

/// How long an endpoint waits for an open one of this transport that holds its address.
constexpr std::chrono::milliseconds holderTime{500};

/// The name that ZeroMQ stores the proved key's name under, in each message.
constexpr auto userProperty = "User-Id";

/// Returns the name of the key that the sender of a message has proved; empty if it has proved none.
std::string senderOf(zmq::message_t& message) {
  const char* name = zmq_msg_gets(message.handle(), userProperty);
  return name != nullptr ? name : "";
}

bool isLoopback(const Address& address) {
  const auto place = placeOf(address);
  if (!place || !place->host) {
    return false;
  }
  const auto& bytes = *place->host;
  constexpr agent::spf::frameworksupport::HostBytes mapped{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff, 127};
  constexpr agent::spf::frameworksupport::HostBytes loopback{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
  return bytes == loopback || std::equal(bytes.begin(), bytes.begin() + 13, mapped.begin());
}

}  // namespace

bool BoundEndpoint::mayIgnore(const BoundEndpoint& holder, Clock::time_point now) {
  if (!holder.isClosing() && holderDeadline_ && *holderDeadline_ <= now) {
    return true;
  }
  reportReason("another endpoint of this process holds the address");
  if (!holder.isClosing() && !holderDeadline_) {
    holderDeadline_ = now + holderTime;
    setDeadline(holderDeadline_);
  }
  return false;
}

bool BoundEndpoint::isInTheWayOf(const BoundEndpoint& other) const {
  const bool holds =
      phase() == Phase::opening || phase() == Phase::open || phase() == Phase::reopening || phase() == Phase::closing;
  return holds && place_ && other.place_ && mayCollide(*place_, *other.place_);
}

std::size_t BoundEndpoint::largestMessage() const {
  return largestRequest;
}

int BoundEndpoint::monitoredEvents() const {
  constexpr int always = ZMQ_EVENT_CLOSED | ZMQ_EVENT_CLOSE_FAILED | ZMQ_EVENT_HANDSHAKE_FAILED_PROTOCOL;
  constexpr int ofEncryption = ZMQ_EVENT_ACCEPTED | ZMQ_EVENT_DISCONNECTED | ZMQ_EVENT_HANDSHAKE_SUCCEEDED |
                               ZMQ_EVENT_HANDSHAKE_FAILED_AUTH | ZMQ_EVENT_HANDSHAKE_FAILED_NO_DETAIL;
  return isEncrypted() ? always | ofEncryption : always;
}

void BoundEndpoint::checkKey(const SharedState&) const {
  if (!description().key.empty()) {
    throw std::runtime_error("the name of a key, '" + description().key + "', is for connections only");
  }
}

bool BoundEndpoint::checkAddress() {
  if (!address().source.empty()) {
    throw std::runtime_error("a source address is for connections only");
  }
  place_ = placeOf(address());
  return hasUnresolvedHost(address(), InterfaceNames::usable);
}

void BoundEndpoint::encrypt(const SharedState& shared) {
  socket().set(zmq::sockopt::curve_server, true);
  socket().set(zmq::sockopt::curve_secretkey, zmq::buffer(shared.key->bytes()));
  // The socket loop's handler finds the endpoint by it. It is bound as long as there are endpoints; without one, builds
  // of ZeroMQ that cannot require it would let every key in.
  socket().set(zmq::sockopt::zap_domain, std::to_string(id()));
  requireZapHandler(socket());
}

void BoundEndpoint::attach(SharedState& shared) {
  std::string opened = shownAddress();
  switch (address().scheme) {
    case Scheme::tcp:
      bind();
      opened = boundAddress();
      place_ = placeOf(parseAddress(opened));
      break;
    case Scheme::ipc:
      listenLocally();
      if (isWildcard(address())) {
        opened = boundAddress();
      }
      break;
    default:
      bind();
      boundNames_ = &shared.boundNames;
      boundNames_->emplace(address().where, id());
  }
  becomeOpen(opened);
  if (address().scheme == Scheme::tcp && !isEncrypted()) {
    warnOfPlainText(shared, opened);
  }
}

void BoundEndpoint::warnOfPlainText(SharedState& shared, const std::string& opened) {
  if (!shared.warnedOfPlainText && !isLoopback(parseAddress(opened))) {
    shared.warnedOfPlainText = true;
    warn("'" + opened + "' can be reached from other machines, without encryption: whoever reaches it is served");
  }
}

bool BoundEndpoint::detach() {
  if (localListener_) {
    localListener_->removeFile();
  }
  try {
    // Only the resolved address can be unbound, in case of a wildcard. Without the unbind the address would be free
    // only some time after the socket was closed.
    const std::string bound = boundAddress();
    retryInterrupted([&] { socket().unbind(bound); });
    return address().scheme != Scheme::inproc;
  } catch (const zmq::error_t&) {
    return false;
  }
}

bool BoundEndpoint::mayTryAgain(bool) const {
  return true;  // the address was bound before
}

void BoundEndpoint::tryAgain() {
  startOverAt(nextRetry());
}

void BoundEndpoint::onEvent(const MonitorEvent& event) {
  switch (event.kind) {
    case ZMQ_EVENT_CLOSED:
    case ZMQ_EVENT_CLOSE_FAILED:
      onClosed();
      break;
    case ZMQ_EVENT_ACCEPTED:
      handshakes_.accepted(static_cast<HandshakeLedger::Connection>(event.value));
      break;
    case ZMQ_EVENT_HANDSHAKE_SUCCEEDED:
      handshakes_.reported();
      break;
    case ZMQ_EVENT_DISCONNECTED:
      if (handshakes_.ended(static_cast<HandshakeLedger::Connection>(event.value))) {
        onRefusal(handshakeFailed);
      }
      break;
    case ZMQ_EVENT_HANDSHAKE_FAILED_PROTOCOL:
      handshakes_.reported();
      if (event.value == ZMQ_PROTOCOL_ERROR_ZMTP_MECHANISM_MISMATCH) {
        onRefusal(noEncryption);
      } else if (isEncrypted()) {
        onRefusal(handshakeFailed);
      }
      break;
    case ZMQ_EVENT_HANDSHAKE_FAILED_AUTH:
      handshakes_.reported();
      onRefusal(event.value == keyUnknown ? unknownKey : handshakeFailed);
      break;
    default:
      handshakes_.reported();
      onRefusal(handshakeFailed);
  }
}

void BoundEndpoint::onClosed() {
  if (isClosing()) {
    becomeClosed();
  } else if (phase() == Phase::reopening) {
    startOver();
  }
}

void BoundEndpoint::onRefusal(const std::string& reason) {
  refusals_.add(reason);
  reportDueRefusals(Clock::now());
}

void BoundEndpoint::onTime(Clock::time_point now) {
  reportDueRefusals(now);
  Endpoint::onTime(now);
}

void BoundEndpoint::reportDueRefusals(Clock::time_point now) {
  if (!isClosing() && !isDone() && refusals_.isDue(now)) {
    reportRefusals(refusals_.count(), refusals_.reason());
  }
}

std::optional<Endpoint::Clock::time_point> BoundEndpoint::deadline() const noexcept {
  const auto own = Endpoint::deadline();
  const auto ofRefusals = isClosing() || isDone() ? std::nullopt : refusals_.deadline();
  return ofRefusals && (!own || *ofRefusals < *own) ? ofRefusals : own;
}

bool BoundEndpoint::admit(const agent::spf::security::PublicKey& key, const std::string& name) {
  if (isOpen()) {
    admitted_.insert_or_assign(key, name);
  }
  return isOpen();
}

void BoundEndpoint::onTrust(const SharedState& shared) {
  const bool isTrusted = std::all_of(admitted_.begin(), admitted_.end(), [&](const auto& admitted) {
    const auto* name = shared.trusted->nameOf(admitted.first);
    return name != nullptr && *name == admitted.second;
  });
  if (isOpen() && !isTrusted) {
    reopen();
  }
}

void BoundEndpoint::reopen() {
  reopenedAddress_ = boundAddress();
  holderDeadline_.reset();
  reportLoss(Phase::reopening, keyNoLongerTrusted);
  if (detach()) {
    warnUntilReleased();
  } else {
    startOver();
  }
}

void BoundEndpoint::onResolved(const ResolvedHost& resolved) {
  setHost(resolved.addresses.front());
  place_ = placeOf(address());
  startOver();
}

void BoundEndpoint::beforeDrop() {
  admitted_.clear();
  handshakes_ = {};
  localListener_.reset();
  if (boundNames_ != nullptr) {
    boundNames_->erase(address().where);
    boundNames_ = nullptr;
  }
}

void BoundEndpoint::bind() {
  const auto where = reopenedAddress_.value_or(toZeroMq(address()));
  retryInterrupted([&] { socket().bind(where); });
}

void BoundEndpoint::listenLocally() {
  if (isWildcard(address())) {
    bind();  // ZeroMQ creates a folder and removes it
    return;
  }
  localListener_.emplace(address().where);
  socket().set(zmq::sockopt::use_fd, localListener_->descriptor());
  bind();
  localListener_->release();
}

std::string BoundEndpoint::boundAddress() {
  return retryInterrupted([this] { return socket().get(zmq::sockopt::last_endpoint); });
}

void BoundEndpoint::onMessages() {
  int budget = framesPerRound;
  while (auto frames = receiveMessage(socket(), budget)) {
    // A peer whose key is no longer trusted may still send, until the socket is closed.
    if (frames->size() == 3 && isOpen()) {
      answer(std::move((*frames)[0]), std::move((*frames)[1]), (*frames)[2]);
    }
  }
}

void BoundEndpoint::answer(zmq::message_t peer, zmq::message_t number, zmq::message_t& request) {
  std::string outcome = goodOutcome;
  std::string reply;
  try {
    // Without encryption ZeroMQ proves nothing, and any peer can set the property by itself.
    reply = listener().answer(request.to_string(), isEncrypted() ? senderOf(request) : "");
    requireSize("answer", reply, largestAnswer);
  } catch (const std::exception& error) {
    outcome = badOutcome;
    reply = std::string(error.what()).substr(0, largestAnswer);
  } catch (...) {
    outcome = badOutcome;
    reply = "unknown failure";
  }
  std::vector<zmq::message_t> frames;
  frames.push_back(std::move(peer));
  frames.push_back(std::move(number));
  frames.emplace_back(outcome);
  frames.emplace_back(reply);
  // A peer whose queue is full loses its answer; its own time-out reports that.
  sendMessage(socket(), std::move(frames));
}

}  // namespace spf::zeromq
