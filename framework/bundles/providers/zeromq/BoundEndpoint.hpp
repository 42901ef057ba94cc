#pragma once

#include "Endpoint.hpp"

namespace spf::zeromq {

/// An endpoint that listens and answers requests through its listener.
class BoundEndpoint : public Endpoint {
 public:
  using Endpoint::Endpoint;

  void onMessages() override;

 private:
  zmq::socket_type socketType() const override { return zmq::socket_type::router; }
  int monitoredEvents() const override;
  void attach() override;
  bool detach() override;
  void onEvent(std::uint16_t event) override;
  void answer(zmq::message_t peer, zmq::message_t request, const std::string& text);
};

}  // namespace spf::zeromq
