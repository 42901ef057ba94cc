#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "Answer.hpp"
#include "Endpoint.hpp"
#include "Probe.hpp"

namespace spf::zeromq {

/// An endpoint that connects to a peer and sends it requests.
class ConnectedEndpoint : public Endpoint {
 public:
  using Endpoint::Endpoint;

  void onMessages() override;
  int probeDescriptor() const noexcept override { return probe_ ? probe_->descriptor() : -1; }
  void onProbe(bool isReady, Clock::time_point now) override;
  std::optional<Clock::time_point> deadline() const noexcept override;

  /// Returns whether there is a peer to connect to: an `inproc` name has to be bound in this process. ZeroMQ would
  /// accept the connection without it, but keep it after its socket was closed.
  bool mayOpen(const SharedState& shared) const;

  /// Drops a connection to an `inproc` name that is no longer bound, or bound by another endpoint, and reports that a
  /// name is not bound.
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
  void attach(SharedState& shared) override;
  bool detach() override { return false; }
  void onEvent(std::uint16_t event) override;
  void onResolved(const ResolvedHost& resolved) override;
  void beforeDrop() override;

  void onRetry(Clock::time_point now);
  void onLoss();
  void failRequests(const std::string& reason);

  std::optional<Probe> probe_;
  Clock::time_point nextProbe_;
  EndpointID peer_ = 0;  ///< inproc: the connected endpoint
  std::uint64_t lastNumber_ = 0;
  std::map<std::uint64_t, std::shared_ptr<Answer>> awaited_;
};

}  // namespace spf::zeromq
