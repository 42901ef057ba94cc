#include "Endpoint.hpp"

#include <algorithm>
#include <cerrno>
#include <new>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "descriptorLimits.hpp"
#include "messages.hpp"

namespace spf::zeromq {

namespace {

/// How long a socket may take to close before the listener is warned; doubled each time.
constexpr std::chrono::seconds closingTime{2};

// Milliseconds. ZeroMQ doubles the interval between two tries from the first to the longest one.
constexpr int firstReconnectInterval = 100;
constexpr int longestReconnectInterval = 1000;

/// The time limit of one try, in milliseconds. The system's own is two minutes, in which a peer that has started
/// meanwhile may not be noticed.
constexpr int connectTime = 10000;

/// The time limit of an encrypted handshake, in milliseconds. ZeroMQ's own is half a minute, in which a peer that is
/// none shows nothing.
constexpr int handshakeTime = 5000;

/// How many bytes an encrypted frame is larger than the one that it carries.
constexpr std::size_t encryptionSize = 33;

/// The interval between two look-ups of a host; doubled each time, up to a limit.
constexpr std::chrono::milliseconds firstLookUpInterval{500};
constexpr std::chrono::milliseconds longestLookUpInterval{30000};

bool isShortage(int error) {
  return isDescriptorShortage(error) || error == ENOMEM || error == ENOBUFS;
}

template <class Call>
void swallow(const Call& call) noexcept {
  try {
    call();
  } catch (...) {
    // An exception of one listener must not affect the other endpoints.
  }
}

}  // namespace

Endpoint::Endpoint(EndpointID id, EndpointDescription description, std::shared_ptr<EndpointListener> listener)
    : id_(id), description_(std::move(description)), listener_(std::move(listener)) {}

void Endpoint::start(const SharedState& shared) {
  try {
    address_ = parseAddress(description_.address);
    checkKey(shared);
    hostName_ = address_.where;
    resetLookUps();
    if (checkAddress()) {
      phase_ = Phase::lookingUp;
      requestLookUp(Clock::now());
      reportTries();
    } else {
      phase_ = Phase::waiting;
      tries_.address = shownAddress();
    }
  } catch (const std::exception& error) {
    fail(error.what());
  }
}

void Endpoint::onLookUpStarted() noexcept {
  lookUpRequested_ = false;
  deadline_.reset();
}

void Endpoint::onLookUp(const ResolvedHost& resolved) {
  if (phase_ != Phase::lookingUp && phase_ != Phase::opening) {
    return;  // it was closed or connected meanwhile
  }
  if (!resolved.addresses.empty()) {
    onResolved(resolved);
    return;
  }
  reportReason(resolved.failure);
  if (resolved.failure != lastWarning_) {
    lastWarning_ = resolved.failure;
    warn("cannot look up the host '" + hostName_ + "': " + resolved.failure + "; it is tried again");
  }
  lookUpAgain();
}

void Endpoint::open(SharedState& shared) {
  try {
    phase_ = Phase::opening;
    deadline_.reset();
    beginTry();
    // Where ZeroMQ opens no descriptor but the socket's own, it reports that there is none.
    if (address_.scheme != Scheme::inproc || !shared.hasSockets) {
      requireDescriptors();
    }
    makeSocket(shared);
    shared.hasSockets = true;
    attach(shared);
    hasTried_ = true;
  } catch (const zmq::error_t& error) {
    const int number = error.num();
    onFailedTry(isShortage(number),
                isDescriptorShortage(number) ? describeDescriptorLimit(shared.context) : error.what());
  } catch (const std::system_error& error) {
    const int number = error.code().default_error_condition().value();
    onFailedTry(isShortage(number), isDescriptorShortage(number) ? describeDescriptorLimit(number) : error.what());
  } catch (const std::bad_alloc& error) {
    onFailedTry(/*isShortage=*/true, error.what());
  } catch (const std::exception& error) {
    onFailedTry(/*isShortage=*/false, error.what());
  }
}

void Endpoint::onFailedTry(bool isShortage, const std::string& reason) {
  if (!hasTried_ || !mayTryAgain(isShortage)) {
    fail(reason);
    return;
  }
  reportReason(reason);
  tryAgain();
}

void Endpoint::close() {
  if (phase_ == Phase::closing || phase_ == Phase::done) {
    return;
  }
  const bool reported = phase_ == Phase::reopening || (socket_ && detach());
  if (!reported) {
    becomeClosed();
    return;
  }
  phase_ = Phase::closing;
  lookUpRequested_ = false;
  warnUntilReleased();
}

void Endpoint::forceClose() {
  if (phase_ != Phase::done) {
    becomeClosed();
  }
}

void Endpoint::onMonitor() {
  int budget = framesPerRound;
  while (monitor_) {
    const auto event = monitor_->next(budget);
    if (!event) {
      return;
    }
    onEvent(*event);
  }
}

void Endpoint::onTime(Clock::time_point now) {
  if (!deadline_ || now < *deadline_ || lookUpRequested_) {
    return;
  }
  if (phase_ != Phase::closing && phase_ != Phase::reopening) {
    deadline_.reset();
    onDeadline();
    return;
  }
  closingWarning_ *= 2;
  deadline_ = now + closingWarning_;
  warn("the address '" + description_.address + "' is still not free");
}

void Endpoint::abandon(std::exception_ptr reason) {
  const Phase before = phase_;
  if (before == Phase::open || before == Phase::reopening || before == Phase::closing) {
    becomeClosed();
  } else if (before != Phase::done) {
    phase_ = Phase::done;
    dropSocket();
    swallow([&] { listener_->failed(std::move(reason)); });
  }
}

void Endpoint::becomeOpen(const std::string& opened) {
  if (phase_ == Phase::opening) {
    phase_ = Phase::open;
    lookUpRequested_ = false;
    deadline_.reset();
    resetLookUps();
    retryInterval_.reset();
    tries_ = {opened, 0, ""};
    swallow([&] { listener_->opened(opened); });
  }
}

void Endpoint::becomeClosed() {
  phase_ = Phase::done;
  dropSocket();
  swallow([this] { listener_->closed(); });
}

void Endpoint::startOver() {
  phase_ = Phase::waiting;
  dropSocket();
}

void Endpoint::startOverAt(Clock::time_point when) {
  startOver();
  nextTry_ = when;
  deadline_ = when;
}

void Endpoint::startOverWithLookUp(Clock::time_point when) {
  phase_ = Phase::lookingUp;
  dropSocket();
  requestLookUp(when);
}

void Endpoint::reportLoss(Phase next, const std::string& reason) {
  if (phase_ == Phase::open) {
    phase_ = next;
    tries_.reason = reason;
    swallow([&] { listener_->lost(reason); });
  }
}

void Endpoint::beginTry() {
  ++tries_.count;
  reportTries();
}

void Endpoint::reportReason(const std::string& reason) {
  if (reason != tries_.reason) {
    tries_.reason = reason;
    reportTries();
  }
}

void Endpoint::reportTries() {
  swallow([this] { listener_->trying(tries_); });
}

void Endpoint::lookUpAgain() {
  requestLookUp(Clock::now() + lookUpInterval_);
  lookUpInterval_ = std::min(2 * lookUpInterval_, longestLookUpInterval);
}

void Endpoint::resetLookUps() {
  lookUpInterval_ = firstLookUpInterval;
  lastWarning_.clear();
}

void Endpoint::warnUntilReleased() {
  closingWarning_ = closingTime;
  deadline_ = Clock::now() + closingWarning_;
}

void Endpoint::requestLookUp(Clock::time_point when) {
  lookUpRequested_ = true;
  deadline_ = when;
}

void Endpoint::warn(const std::string& what) {
  swallow([&] { listener_->warned(what); });
}

void Endpoint::reportRefusals(std::uint32_t count, const std::string& reason) {
  swallow([&] { listener_->refused(count, reason); });
}

std::string Endpoint::shownAddress() const {
  return address_.scheme == Scheme::tcp ? toZeroMq(address_) : address_.text;
}

void Endpoint::setHost(const std::string& host) {
  address_.where = host;
  address_.bracketed = false;
  tries_.address = shownAddress();
}

void Endpoint::makeSocket(SharedState& shared) {
  socket_.emplace(shared.context, socketType());
  socket_->set(zmq::sockopt::linger, 0);
  isEncrypted_ = shared.key != nullptr && address_.scheme == Scheme::tcp;
  const std::size_t largest = largestMessage() + (isEncrypted_ ? encryptionSize : 0);
  socket_->set(zmq::sockopt::maxmsgsize, static_cast<std::int64_t>(largest));
  socket_->set(zmq::sockopt::sndhwm, queuedMessages);
  socket_->set(zmq::sockopt::rcvhwm, queuedMessages);
  socket_->set(zmq::sockopt::reconnect_ivl, firstReconnectInterval);
  socket_->set(zmq::sockopt::reconnect_ivl_max, longestReconnectInterval);
  socket_->set(zmq::sockopt::connect_timeout, connectTime);
  socket_->set(zmq::sockopt::ipv6, isIPv6(address_));
  if (isEncrypted_) {
    socket_->set(zmq::sockopt::handshake_ivl, handshakeTime);
    encrypt(shared);
  }
  if (address_.scheme != Scheme::inproc) {  // ZeroMQ reports no events of these
    monitor_.emplace(shared.context, *socket_, std::to_string(++shared.lastMonitor), monitoredEvents());
  }
}

void Endpoint::dropSocket() {
  deadline_.reset();
  nextTry_.reset();
  lookUpRequested_ = false;
  beforeDrop();
  monitor_.reset();
  socket_.reset();
}

std::string Endpoint::describe(const std::string& reason) const {
  const std::string name =
      description_.name == description_.address ? "" : " (discovery name '" + description_.name + "')";
  return printable("cannot open '" + description_.address + "'" + name + ": " + reason);
}

void Endpoint::fail(const std::string& reason) {
  // A statement of its own, so that this thread holds no reference to the exception once another thread has it.
  auto error = std::make_exception_ptr(std::runtime_error(describe(reason)));
  abandon(std::move(error));
}

}  // namespace spf::zeromq
