#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <utility>

#include "agent/spf/frameworksupport/Address.hpp"

namespace spf::zeromq {

/// One attempt to connect to an address, for the system's reason why ZeroMQ cannot, which its monitor does not give.
///
/// Never blocks, sends nothing, and closes its descriptor as soon as the outcome is known, unless it is to keep the
/// connection. Used by one thread.
class Probe {
 public:
  using Clock = std::chrono::steady_clock;

  struct Outcome {
    std::string reason;        ///< in the system's words; empty if the address accepts connections
    bool isPermanent = false;  ///< whether no later attempt can succeed
  };

  /// What becomes of the connection if the address accepts it.
  enum class Connection { close, keep };

  /// Starts to connect.
  /// \param address     of `tcp` with a numeric host, or of `ipc`
  /// \param connection  `keep`: it stays open for `release`
  Probe(const agent::spf::frameworksupport::Address& address, Clock::time_point now,
        Connection connection = Connection::close);
  ~Probe();

  Probe(const Probe&) = delete;
  Probe& operator=(const Probe&) = delete;

  /// Returns the descriptor that becomes writable when the outcome is there; negative if it is there already.
  int descriptor() const noexcept { return descriptor_; }

  /// Returns when the probe gives up: `poll` has to be called then.
  Clock::time_point deadline() const noexcept { return deadline_; }

  /// Returns the outcome; nothing if it is not there yet.
  std::optional<Outcome> poll(Clock::time_point now);

  /// Hands over the connection.
  /// \return the caller's descriptor from now on, which does not block; negative if there is no connection
  int release() noexcept { return std::exchange(connection_, -1); }

 private:
  void connectTcp(const agent::spf::frameworksupport::Address& address);
  void connectLocal(const std::string& path);
  bool bindSource(const std::string& source, int family);
  bool open(int family);
  void connectTo(const void* address, unsigned int size);
  void finish(int error, bool isPermanent);

  const Clock::time_point deadline_;
  const bool keepsConnection_;
  int descriptor_ = -1;
  int connection_ = -1;
  std::optional<Outcome> outcome_;
};

}  // namespace spf::zeromq
