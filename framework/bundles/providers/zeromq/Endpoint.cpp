#include "Endpoint.hpp"

#include <stdexcept>
#include <utility>

namespace spf::zeromq {

namespace {

/// How long a socket may take to report its end.
constexpr std::chrono::seconds closingTime{2};

/// How long an endpoint waits for one of ours that has its address. A revision can hand an address
/// from one publisher to another, and nobody orders the two publishers' work.
constexpr std::chrono::milliseconds patience{500};

/// Peers are other people's processes: what they send has a limit.
constexpr std::int64_t largestMessage = 16 * 1024 * 1024;

constexpr int reconnectInterval = 100;  // milliseconds

template <class Call>
void swallow(const Call& call) noexcept {
  try {
    call();
  } catch (...) {
    // A listener's failure is its own; the other endpoints must not suffer from it.
  }
}

}  // namespace

Endpoint::Endpoint(EndpointID id, EndpointDescription description, std::shared_ptr<EndpointListener> listener)
    : id_(id), description_(std::move(description)), listener_(std::move(listener)) {}

void Endpoint::open(zmq::context_t& context) {
  try {
    state_ = State::opening;
    deadline_.reset();
    scheme_ = schemeOf(description_.address);
    makeSocket(context);
    attach();
    if (scheme_ == Scheme::inproc) {
      becomeOpen();  // no monitor tells
    }
  } catch (const std::exception& error) {
    abandon(describe(error.what()));
  }
}

void Endpoint::close() {
  if (state_ == State::closing || state_ == State::done) {
    return;
  }
  const bool reported = socket_ && detach();
  if (!reported) {
    becomeClosed();
    return;
  }
  state_ = State::closing;
  deadline_ = Clock::now() + closingTime;
}

void Endpoint::onMonitor() {
  while (monitor_) {
    const auto event = monitor_->next();
    if (!event) {
      return;
    }
    onEvent(*event);
  }
}

void Endpoint::onTime(Clock::time_point now) {
  if (isClosing() && *deadline_ <= now) {
    becomeClosed();
  }
}

void Endpoint::abandon(std::exception_ptr reason) {
  const State before = std::exchange(state_, State::done);
  dropSocket();
  if (before == State::done) {
    return;
  }
  if (before == State::waiting || before == State::opening) {
    swallow([&] { listener_->failed(std::move(reason)); });
  } else {
    swallow([&] { listener_->closed(); });
  }
}

bool Endpoint::holds(const std::string& address) const {
  return state_ != State::waiting && state_ != State::done && description_.address == address;
}

bool Endpoint::hasPatience(Clock::time_point now) {
  if (!deadline_) {
    deadline_ = now + patience;
  }
  return now < *deadline_;
}

void Endpoint::becomeOpen() {
  if (state_ == State::opening) {
    state_ = State::open;
    swallow([this] { listener_->opened(); });
  }
}

void Endpoint::becomeClosed() {
  state_ = State::done;
  dropSocket();
  swallow([this] { listener_->closed(); });
}

void Endpoint::makeSocket(zmq::context_t& context) {
  socket_.emplace(context, socketType());
  socket_->set(zmq::sockopt::linger, 0);
  socket_->set(zmq::sockopt::maxmsgsize, largestMessage);
  socket_->set(zmq::sockopt::reconnect_ivl, reconnectInterval);
  socket_->set(zmq::sockopt::ipv6, description_.address.find('[') != std::string::npos);
  monitor_.emplace(context, *socket_, std::to_string(id_), monitoredEvents());
}

void Endpoint::dropSocket() {
  deadline_.reset();
  monitor_.reset();
  socket_.reset();
}

std::exception_ptr Endpoint::describe(const char* reason) const {
  const std::string name =
      description_.name == description_.address ? "" : " (discovery name '" + description_.name + "')";
  return std::make_exception_ptr(
      std::runtime_error("cannot open '" + description_.address + "'" + name + ": " + reason));
}

}  // namespace spf::zeromq
