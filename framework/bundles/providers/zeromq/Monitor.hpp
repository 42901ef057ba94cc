#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include <zmq.hpp>

namespace spf::zeromq {

/// A report about a socket.
struct MonitorEvent {
  std::uint16_t kind = 0;   ///< ZeroMQ's number
  std::uint32_t value = 0;  ///< depends on the kind: the connection's descriptor, or a number of an error
};

/// Receives the events of a socket's connections. Used by the thread that owns the socket.
class Monitor {
 public:
  /// Starts monitoring a socket.
  /// \param name    unique within the context
  /// \param events  ZeroMQ's mask of the monitored events
  Monitor(zmq::context_t& context, zmq::socket_t& observed, const std::string& name, int events);

  /// Stops monitoring, so that the observed socket may be closed afterwards.
  ~Monitor();

  Monitor(const Monitor&) = delete;
  Monitor& operator=(const Monitor&) = delete;

  /// Returns the next event; nothing if none has arrived, or the budget is used up.
  /// \param budget  how many frames may be read; reduced by those that were read
  std::optional<MonitorEvent> next(int& budget);

  /// Returns the socket to poll.
  void* handle() noexcept { return receiver_.handle(); }

 private:
  zmq::socket_t& observed_;
  zmq::socket_t receiver_;
};

}  // namespace spf::zeromq
