#include "ZapHandler.hpp"

#include <utility>

#include "messages.hpp"

namespace spf::zeromq {

using agent::spf::security::TrustedKeys;

namespace {

/// Where ZeroMQ looks for the handler.
constexpr auto zapAddress = "inproc://zeromq.zap.01";

/// The frames that precede a request: the name of its connection, and an empty one.
constexpr std::size_t envelope = 2;

/// More than any request has.
constexpr std::size_t maxRequestFrames = 16;

/// How many requests may wait for a refresh, for a file system that does not answer. The others may try again later.
constexpr std::size_t maxPending = 1000;

}  // namespace

ZapHandler::ZapHandler(zmq::context_t& context, std::function<std::uint64_t()> requestRefresh)
    : requestRefresh_(std::move(requestRefresh)), socket_(context, zmq::socket_type::router) {
  socket_.set(zmq::sockopt::linger, 0);
  retryInterrupted([this] { socket_.bind(zapAddress); });
}

void ZapHandler::receive() {
  std::deque<Request> received;
  int budget = framesPerRound;
  while (auto message = receiveMessage(socket_, budget, maxRequestFrames)) {
    if (message->size() < envelope || !(*message)[1].empty()) {
      continue;  // no reply could reach its sender
    }
    Request request{0, std::move(message->front()), {}};
    for (std::size_t i = envelope; i < message->size(); ++i) {
      request.frames.push_back((*message)[i].to_string());
    }
    if (pending_.size() + received.size() < maxPending) {
      received.push_back(std::move(request));
    } else {
      send(std::move(request.peer),
           refuse(judgeHandshake(request.frames, {}), tryAgainLater, "too many handshakes are under way"));
    }
  }
  if (received.empty()) {
    return;
  }
  const auto refresh = requestRefresh_();
  for (auto& request : received) {
    request.refresh = refresh;
    pending_.push_back(std::move(request));
  }
}

void ZapHandler::answer(std::uint64_t refreshed, const TrustedKeys& trusted, const Admission& admit) {
  while (!pending_.empty() && pending_.front().refresh <= refreshed) {
    auto& request = pending_.front();
    auto judgement = judgeHandshake(request.frames, trusted);
    if (judgement.status == peerAccepted && !admit(judgement)) {
      judgement = refuse(std::move(judgement), requestRefused, "the endpoint is being closed");
    }
    send(std::move(request.peer), judgement);
    pending_.pop_front();
  }
}

void ZapHandler::send(zmq::message_t peer, const Judgement& judgement) {
  std::vector<zmq::message_t> frames;
  frames.push_back(std::move(peer));
  frames.emplace_back();
  for (const auto& frame : judgement.frames()) {
    frames.emplace_back(frame);
  }
  sendMessage(socket_, std::move(frames));  // lost if the connection has ended meanwhile
}

}  // namespace spf::zeromq
