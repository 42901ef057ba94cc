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

  /// Whether there is something to connect to: an `inproc` name has to be bound in this process.
  /// ZeroMQ would accept the connection without, but keeps it beyond the close of its socket.
  bool mayOpen(const Surroundings& surroundings) const;

  /// Drops a connection to an `inproc` name that is bound no more, or bound by another endpoint.
  void checkPeer(const Surroundings& surroundings);

  /// Sends a request; the answer is set when the peer's arrives.
  void ask(const std::string& request, std::shared_ptr<Answer> answer);

  /// Forgets a request whose time is over.
  void forget(const std::shared_ptr<Answer>& answer);

 private:
  zmq::socket_type socketType() const override { return zmq::socket_type::dealer; }
  int monitoredEvents() const override { return ZMQ_EVENT_HANDSHAKE_SUCCEEDED | ZMQ_EVENT_DISCONNECTED; }
  std::size_t largestMessage() const override;
  bool checkAddress() override;
  void attach(Surroundings& surroundings) override;
  bool detach() override { return false; }
  void onEvent(std::uint16_t event) override;
  void onResolved(const ResolvedHost& resolved) override;
  void onUnresolved(const std::string& failure) override;
  void beforeDrop() override;

  void lookUpAgain();
  void failRequests(const std::string& reason);

  EndpointID peer_ = 0;  ///< inproc: the endpoint that is connected to
  std::chrono::milliseconds lookUpInterval_{0};
  std::string lastWarning_;
  std::uint64_t lastNumber_ = 0;
  std::map<std::uint64_t, std::shared_ptr<Answer>> awaited_;
};

}  // namespace spf::zeromq
