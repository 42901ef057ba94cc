#pragma once

#include <optional>
#include <string>

#include "Probe.hpp"

namespace spf::zeromq {

/// One attempt to find out whether a peer secures its connections in another way than this process, which makes every
/// handshake fail. The side that notices the difference first hangs up, and ZeroMQ then reports to the other one only
/// that the handshake was broken off.
///
/// Exchanges the greetings with which all connections of ZMTP 3 begin (RFC 23 of ZeroMQ), and completes its own only if
/// the peer's mechanism is another one, so that the peer notices it as well. Never blocks. Used by one thread.
class GreetingProbe {
 public:
  using Clock = Probe::Clock;

  enum class Outcome {
    sameMechanism,
    otherMechanism,
    unknown  ///< the peer is out of reach, or none
  };

  /// Starts to connect.
  /// \param address    of `tcp` with a numeric host
  /// \param mechanism  of this process: "NULL" or "CURVE"
  GreetingProbe(const agent::spf::frameworksupport::Address& address, std::string mechanism, Clock::time_point now);
  ~GreetingProbe();

  GreetingProbe(const GreetingProbe&) = delete;
  GreetingProbe& operator=(const GreetingProbe&) = delete;

  /// Returns the descriptor to wait for; negative if `poll` has to be called now.
  int descriptor() const noexcept { return connection_ >= 0 ? connection_ : connecting_.descriptor(); }

  /// Returns whether to wait until the descriptor is readable, not until it is writable.
  bool isReading() const noexcept { return connection_ >= 0; }

  /// Returns when the probe gives up: `poll` has to be called then.
  Clock::time_point deadline() const noexcept { return connecting_.deadline(); }

  /// Returns the outcome; nothing if it is not there yet.
  std::optional<Outcome> poll(Clock::time_point now);

 private:
  void greet();
  void receive();
  void judge();
  bool send(const std::string& bytes) const;

  const std::string mechanism_;
  Probe connecting_;
  int connection_ = -1;
  std::string received_;
  std::optional<Outcome> outcome_;
};

}  // namespace spf::zeromq
