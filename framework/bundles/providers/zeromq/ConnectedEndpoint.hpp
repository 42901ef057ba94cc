#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "Answer.hpp"
#include "Endpoint.hpp"
#include "GreetingProbe.hpp"
#include "Probe.hpp"

namespace spf::zeromq {

/// An endpoint that connects to a peer and sends it requests.
class ConnectedEndpoint : public Endpoint {
 public:
  using Endpoint::Endpoint;

  void onMessages() override;
  void onTrust(const SharedState& shared) override;
  ProbeEvent probeEvent() const noexcept override;
  void onProbe(bool isReady, Clock::time_point now) override;
  std::optional<Clock::time_point> deadline() const noexcept override;

  /// Returns whether there is a peer to connect to now: an `inproc` name has to be bound in this process, since ZeroMQ
  /// would accept the connection without it, but keep it after its socket was closed; the key that the peer has to
  /// prove has to be trusted; and after a failed handshake or try some time has to pass.
  bool mayOpen(const SharedState& shared, Clock::time_point now) const;

  /// Drops a connection to an `inproc` name that is no longer bound, or bound by another endpoint, and reports that a
  /// name is not bound, or that no key is trusted.
  void checkPeer(const SharedState& shared);

  /// Sends a request. The answer is set when the peer's message arrives, or the request fails.
  void ask(const std::string& request, std::shared_ptr<Answer> answer);

  /// Drops a request after its time-out.
  void forget(const std::shared_ptr<Answer>& answer);

 private:
  zmq::socket_type socketType() const override { return zmq::socket_type::dealer; }
  int monitoredEvents() const override;
  std::size_t largestMessage() const override;
  bool checkAddress() override;
  void checkKey(const SharedState& shared) const override;
  void encrypt(const SharedState& shared) override;
  void attach(SharedState& shared) override;
  bool detach() override { return false; }
  bool mayTryAgain(bool isShortage) const override { return isShortage; }
  void tryAgain() override;
  void onEvent(const MonitorEvent& event) override;
  void onResolved(const ResolvedHost& resolved) override;
  void beforeDrop() override;

  void onRetry(Clock::time_point now);
  void onLoss();
  void onFailedHandshake(const std::string& reason);

  /// Reports why a handshake has failed, but keeps a definite reason for a while: a peer that hangs up early often
  /// hides it.
  void reportFailure(const std::string& reason, bool isDefinite);

  /// Destroys the socket and tries again later, with a new one: after an error of the protocol, and often after a
  /// refusal, ZeroMQ itself never tries again.
  /// \param stay  whether at the same address, if the host still has it
  void tryAgainLater(bool stay);

  /// Asks the peer how it secures its connections, after a handshake that failed without a reason.
  void askForMechanism(Clock::time_point now);
  void onGreeting(Clock::time_point now);

  const agent::spf::security::PublicKey* trustedKey(const SharedState& shared) const;
  void failRequests(const std::string& reason);

  std::optional<Probe> probe_;  ///< none while there is a greeting
  Clock::time_point nextProbe_;
  std::optional<GreetingProbe> greeting_;  ///< outlives the socket whose handshake has failed
  Clock::time_point nextGreeting_;
  bool hasHandshakeReason_ = false;  ///< whether the latest reason is a failed handshake's
  bool isReasonDefinite_ = false;
  int vagueFailures_ = 0;        ///< since the definite reason
  bool staysAtAddress_ = false;  ///< whether the next look-up may keep the address

  /// The key that the socket expects its peer to prove.
  std::optional<agent::spf::security::PublicKey> serverKey_;

  EndpointID peer_ = 0;  ///< inproc: the connected endpoint
  std::uint64_t lastNumber_ = 0;
  std::map<std::uint64_t, std::shared_ptr<Answer>> awaited_;
};

}  // namespace spf::zeromq
