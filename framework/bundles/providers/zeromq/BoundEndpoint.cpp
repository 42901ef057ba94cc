#include "BoundEndpoint.hpp"

#include <stdexcept>
#include <utility>

#include "messages.hpp"

namespace spf::zeromq {

namespace {

/// How long an endpoint waits for an open one of this transport that holds its address.
constexpr std::chrono::milliseconds holderTime{500};

}  // namespace

bool BoundEndpoint::mayIgnore(const BoundEndpoint& holder, Clock::time_point now) {
  reportReason("another endpoint of this process holds the address");
  if (holder.isClosing()) {
    return false;
  }
  if (!holderDeadline_) {
    holderDeadline_ = now + holderTime;
    setDeadline(holderDeadline_);
  }
  return *holderDeadline_ <= now;
}

bool BoundEndpoint::isInTheWayOf(const BoundEndpoint& other) const {
  const bool holds = phase() == Phase::opening || phase() == Phase::open || phase() == Phase::closing;
  return holds && place_ && other.place_ && mayCollide(*place_, *other.place_);
}

std::size_t BoundEndpoint::largestMessage() const {
  return largestRequest;
}

bool BoundEndpoint::checkAddress() {
  if (!address().source.empty()) {
    throw std::runtime_error("a source address is for connections only");
  }
  place_ = placeOf(address());
  return hasUnresolvedHost(address(), InterfaceNames::usable);
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

void BoundEndpoint::onEvent(std::uint16_t) {
  if (isClosing()) {
    becomeClosed();
  }
}

void BoundEndpoint::onResolved(const ResolvedHost& resolved) {
  setHost(resolved.addresses.front());
  place_ = placeOf(address());
  startOver();
}

void BoundEndpoint::beforeDrop() {
  localListener_.reset();
  if (boundNames_ != nullptr) {
    boundNames_->erase(address().where);
    boundNames_ = nullptr;
  }
}

void BoundEndpoint::bind() {
  retryInterrupted([this] { socket().bind(toZeroMq(address())); });
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
    if (frames->size() == 3) {
      answer(std::move((*frames)[0]), std::move((*frames)[1]), (*frames)[2].to_string());
    }
  }
}

void BoundEndpoint::answer(zmq::message_t peer, zmq::message_t request, const std::string& text) {
  std::string outcome = goodOutcome;
  std::string reply;
  try {
    reply = listener().answer(text, "");
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
  frames.push_back(std::move(request));
  frames.emplace_back(outcome);
  frames.emplace_back(reply);
  // A peer whose queue is full loses its answer; its own time-out reports that.
  sendMessage(socket(), std::move(frames));
}

}  // namespace spf::zeromq
