#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "Answer.hpp"
#include "Endpoint.hpp"

namespace spf::zeromq {

/// An endpoint that connects to a peer and sends it requests.
class ConnectedEndpoint : public Endpoint {
 public:
  using Endpoint::Endpoint;

  void onMessages() override;

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
  int monitoredEvents() const override { return ZMQ_EVENT_HANDSHAKE_SUCCEEDED | ZMQ_EVENT_DISCONNECTED; }
  std::size_t largestMessage() const override;
  bool checkAddress() override;
  void attach(SharedState& shared) override;
  bool detach() override { return false; }
  void onEvent(std::uint16_t event) override;
  void onResolved(const ResolvedHost& resolved) override;
  void beforeDrop() override;

  void failRequests(const std::string& reason);

  EndpointID peer_ = 0;  ///< inproc: the connected endpoint
  std::uint64_t lastNumber_ = 0;
  std::map<std::uint64_t, std::shared_ptr<Answer>> awaited_;
};

}  // namespace spf::zeromq
