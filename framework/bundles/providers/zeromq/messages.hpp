#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <zmq.hpp>
#include "uninterrupted.hpp"

/// A request is the frames {number, text}, an answer {number, outcome, text}. A socket that serves
/// several peers sees the peer's name in front.
namespace spf::zeromq {

inline constexpr auto goodOutcome = "ok";
inline constexpr auto badOutcome = "error";

// Peers are other people's processes: whatever they send has a limit. ZeroMQ bounds frames and
// messages, but not the number of frames of a message that is not complete.
inline constexpr std::size_t largestRequest = 64 * 1024;
inline constexpr std::size_t largestAnswer = 1024 * 1024;

/// \throws std::runtime_error when a text is larger than what the peer accepts
inline void requireSize(const std::string& what, const std::string& text, std::size_t limit) {
  if (text.size() > limit) {
    throw std::runtime_error("the " + what + " has " + std::to_string(text.size()) + " bytes; at most " +
                             std::to_string(limit) + " are allowed");
  }
}

/// Messages that wait in either direction of one connection. A peer that sends more has to wait.
inline constexpr int queuedMessages = 64;

/// Frames of one socket that are handled before the next socket's turn; the last message is taken whole.
inline constexpr int framesPerRound = 100;

/// More frames than any message has that is understood here.
inline constexpr std::size_t tooManyFrames = 4;

/// The frames of the next message, of a message with too many the first ones; nothing when none has
/// arrived, or the budget is used up.
/// \param budget  how many frames may be read; less what was read afterwards
inline std::optional<std::vector<zmq::message_t>> receiveMessage(zmq::socket_t& socket, int& budget) {
  if (budget <= 0) {
    return std::nullopt;
  }
  std::vector<zmq::message_t> frames;
  for (bool more = true; more;) {
    zmq::message_t frame;
    // The frames of a message arrive together: only the first one may be missing.
    if (!uninterrupted([&] { return socket.recv(frame, zmq::recv_flags::dontwait); })) {
      return std::nullopt;
    }
    more = frame.more();
    --budget;
    if (frames.size() < tooManyFrames) {
      frames.push_back(std::move(frame));
    }
  }
  return frames;
}

/// Sends without waiting.
/// \return false when the peer takes nothing now
inline bool sendMessage(zmq::socket_t& socket, std::vector<zmq::message_t> frames) {
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const auto flags =
        zmq::send_flags::dontwait | (i + 1 < frames.size() ? zmq::send_flags::sndmore : zmq::send_flags::none);
    if (!uninterrupted([&] { return socket.send(frames[i], flags); })) {
      return false;
    }
  }
  return true;
}

}  // namespace spf::zeromq
