#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <zmq.hpp>
#include "retryInterrupted.hpp"

/// Messages between transports. A request consists of the frames {number, text}, an answer of {number, outcome, text}.
/// A socket with several peers receives and sends the peer's name as an additional first frame.
namespace spf::zeromq {

inline constexpr auto goodOutcome = "ok";
inline constexpr auto badOutcome = "error";

// Peers are not trusted, so everything that they send has a limit. ZeroMQ limits frames and complete messages, but not
// the number of frames of an incomplete message.
inline constexpr std::size_t largestRequest = std::size_t{64} * 1024;
inline constexpr std::size_t largestAnswer = std::size_t{1024} * 1024;

/// Checks the size of a text.
/// \throws std::runtime_error if it is larger than the peer accepts
inline void requireSize(const std::string& what, const std::string& text, std::size_t limit) {
  if (text.size() > limit) {
    throw std::runtime_error("the " + what + " has " + std::to_string(text.size()) + " bytes; at most " +
                             std::to_string(limit) + " are allowed");
  }
}

/// How many messages may be queued in each direction of one connection. A peer that sends more has to wait.
inline constexpr int queuedMessages = 64;

/// How many frames of one socket are handled before the next socket's turn; the last message is read completely.
inline constexpr int framesPerRound = 100;

/// One more than any valid message has.
inline constexpr std::size_t maxFrames = 4;

/// Receives the next message, without those frames that exceed the limit.
/// \param budget  how many frames may be read; reduced by those that were read
/// \return nothing if no message has arrived, or the budget is used up
inline std::optional<std::vector<zmq::message_t>> receiveMessage(zmq::socket_t& socket, int& budget,
                                                                 std::size_t limit = maxFrames) {
  if (budget <= 0) {
    return std::nullopt;
  }
  std::vector<zmq::message_t> frames;
  for (bool more = true; more;) {
    zmq::message_t frame;
    // The frames of a message arrive together, so only the first one can be missing.
    if (!retryInterrupted([&] { return socket.recv(frame, zmq::recv_flags::dontwait); })) {
      return std::nullopt;
    }
    more = frame.more();
    --budget;
    if (frames.size() < limit) {
      frames.push_back(std::move(frame));
    }
  }
  return frames;
}

/// Sends a message without waiting.
/// \return false if the peer's queue is full
inline bool sendMessage(zmq::socket_t& socket, std::vector<zmq::message_t> frames) {
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const auto flags =
        zmq::send_flags::dontwait | (i + 1 < frames.size() ? zmq::send_flags::sndmore : zmq::send_flags::none);
    if (!retryInterrupted([&] { return socket.send(frames[i], flags); })) {
      return false;
    }
  }
  return true;
}

}  // namespace spf::zeromq
