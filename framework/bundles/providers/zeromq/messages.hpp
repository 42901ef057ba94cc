#pragma once

#include <optional>
#include <vector>
#include <zmq.hpp>

/// A request is the frames {number, text}, an answer {number, outcome, text}. A socket that serves
/// several peers sees the peer's name in front.
namespace spf::zeromq {

inline constexpr auto goodOutcome = "ok";
inline constexpr auto badOutcome = "error";

/// All frames of the next message; nothing when none has arrived.
inline std::optional<std::vector<zmq::message_t>> receiveMessage(zmq::socket_t& socket) {
  std::vector<zmq::message_t> frames(1);
  if (!socket.recv(frames.back(), zmq::recv_flags::dontwait)) {
    return std::nullopt;
  }
  while (frames.back().more()) {
    frames.emplace_back();
    if (!socket.recv(frames.back(), zmq::recv_flags::none)) {
      return std::nullopt;
    }
  }
  return frames;
}

/// Sends without waiting.
/// \return false when the peer takes nothing now
inline bool sendMessage(zmq::socket_t& socket, std::vector<zmq::message_t> frames) {
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const auto more = i + 1 < frames.size() ? zmq::send_flags::sndmore : zmq::send_flags::none;
    if (!socket.send(std::move(frames[i]), zmq::send_flags::dontwait | more)) {
      return false;
    }
  }
  return true;
}

}  // namespace spf::zeromq
