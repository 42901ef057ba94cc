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

  /// Whoever still waits for an answer is told that there will be none.
  ~ConnectedEndpoint() override;

  void onMessages() override;

  /// Sends a request; the answer is set when the peer's arrives.
  void ask(const std::string& request, std::shared_ptr<Answer> answer);

  /// Forgets a request whose time is over.
  void forget(const std::shared_ptr<Answer>& answer);

 private:
  zmq::socket_type socketType() const override { return zmq::socket_type::dealer; }
  int monitoredEvents() const override { return ZMQ_EVENT_HANDSHAKE_SUCCEEDED; }
  void attach() override { socket().connect(description().address); }
  bool detach() override { return false; }
  void onEvent(std::uint16_t) override { becomeOpen(); }

  std::uint64_t lastNumber_ = 0;
  std::map<std::uint64_t, std::shared_ptr<Answer>> awaited_;
};

}  // namespace spf::zeromq
