#include "BoundEndpoint.hpp"

#include <stdexcept>
#include <utility>

#include "messages.hpp"

namespace spf::zeromq {

int BoundEndpoint::monitoredEvents() const {
  return ZMQ_EVENT_LISTENING | ZMQ_EVENT_CLOSED | ZMQ_EVENT_CLOSE_FAILED;
}

void BoundEndpoint::attach() {
  const std::string& address = description().address;
  if (scheme() == Scheme::ipc && isServed(address)) {
    throw std::runtime_error("Address already in use");
  }
  socket().bind(address);
}

bool BoundEndpoint::detach() {
  // The address may have been a wildcard: only the one it was resolved to can be unbound. Without
  // the unbind the address would be free only some time after the socket was closed.
  const bool unbound = zmq_unbind(socket().handle(), socket().get(zmq::sockopt::last_endpoint).c_str()) == 0;
  return unbound && scheme() != Scheme::inproc;
}

void BoundEndpoint::onEvent(std::uint16_t event) {
  if (event == ZMQ_EVENT_LISTENING) {
    becomeOpen();
  } else if (isClosing()) {
    becomeClosed();
  }
}

void BoundEndpoint::onMessages() {
  while (auto frames = receiveMessage(socket())) {
    if (frames->size() == 3) {
      answer(std::move((*frames)[0]), std::move((*frames)[1]), (*frames)[2].to_string());
    }
  }
}

void BoundEndpoint::answer(zmq::message_t peer, zmq::message_t request, const std::string& text) {
  std::string outcome = goodOutcome;
  std::string reply;
  try {
    reply = listener().answer(text);
  } catch (const std::exception& error) {
    outcome = badOutcome;
    reply = error.what();
  } catch (...) {
    outcome = badOutcome;
    reply = "unknown failure";
  }
  std::vector<zmq::message_t> frames;
  frames.push_back(std::move(peer));
  frames.push_back(std::move(request));
  frames.emplace_back(outcome);
  frames.emplace_back(reply);
  // A peer that takes nothing loses its answer; it is told so by its own time-out.
  sendMessage(socket(), std::move(frames));
}

}  // namespace spf::zeromq
