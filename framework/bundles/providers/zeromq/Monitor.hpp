#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <zmq.hpp>

namespace spf::zeromq {

/// Receives what a socket reports about its connections. Used by the thread that owns the socket.
class Monitor {
 public:
  /// \param name    unique within the context
  /// \param events  ZeroMQ's mask of the events that are wanted
  Monitor(zmq::context_t& context, zmq::socket_t& observed, const std::string& name, int events);

  /// Stops the reports first, so that the observed socket may be closed afterwards.
  ~Monitor();

  Monitor(const Monitor&) = delete;
  Monitor& operator=(const Monitor&) = delete;

  /// The next event; nothing when none has arrived, or the budget is used up.
  std::optional<std::uint16_t> next(int& budget);

  /// What to poll.
  void* handle() noexcept { return receiver_.handle(); }

 private:
  zmq::socket_t& observed_;
  zmq::socket_t receiver_;
};

}  // namespace spf::zeromq
