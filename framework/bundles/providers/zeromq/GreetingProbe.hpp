#pragma once

#include <chrono>
#include <optional>
#include <string>

#include <zmq.hpp>
#include "agent/spf/frameworksupport/Address.hpp"

namespace spf::zeromq {

/// Returns whether the first bytes of a peer are ZeroMQ's, and say that it does not encrypt.
/// \return nothing if more bytes have to arrive
std::optional<bool> saysNoEncryption(const std::string& greeting);

/// One connection that learns whether a peer encrypts, when its handshakes are broken off without a reason: of two
/// peers of which one does not encrypt, often only the faster one finds out, and hangs up.
///
/// Sends the beginning of ZeroMQ's greeting, to which the peer answers with its own. Used by one thread.
class GreetingProbe {
 public:
  using Clock = std::chrono::steady_clock;

  /// Starts to connect.
  /// \param address  of `tcp` with a numeric host
  /// \throws zmq::error_t if the context has no socket left
  GreetingProbe(zmq::context_t& context, const agent::spf::frameworksupport::Address& address, Clock::time_point now);

  /// Returns the socket to poll.
  void* handle() noexcept { return socket_.handle(); }

  /// Returns when the probe gives up: `poll` has to be called then.
  Clock::time_point deadline() const noexcept { return deadline_; }

  /// Returns whether the peer is known not to encrypt; nothing as long as the outcome is not there.
  std::optional<bool> poll(Clock::time_point now);

 private:
  const Clock::time_point deadline_;
  zmq::socket_t socket_;
  bool isConnected_ = false;
  std::string greeting_;
};

}  // namespace spf::zeromq
