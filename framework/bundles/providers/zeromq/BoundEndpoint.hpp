#pragma once

#include <optional>

#include "Endpoint.hpp"
#include "LocalListener.hpp"

namespace spf::zeromq {

/// An endpoint that listens and answers requests through its listener.
class BoundEndpoint : public Endpoint {
 public:
  using Endpoint::Endpoint;

  void onMessages() override;

  /// Whether the endpoint may be opened although another one holds a place that collides with its own.
  /// A holder that is closing is waited for. One that is open may be about to close, since nobody
  /// orders the work of two publishers: it is waited for until a deadline.
  bool mayIgnore(const BoundEndpoint& holder, Clock::time_point now);

  /// Whether the endpoint has a place that collides with another one's.
  bool isInTheWayOf(const BoundEndpoint& other) const;

 private:
  zmq::socket_type socketType() const override { return zmq::socket_type::router; }
  int monitoredEvents() const override { return ZMQ_EVENT_CLOSED | ZMQ_EVENT_CLOSE_FAILED; }
  std::size_t largestMessage() const override;
  bool checkAddress() override;
  void attach(Surroundings& surroundings) override;
  bool detach() override;
  void onEvent(std::uint16_t event) override;
  void onResolved(const ResolvedHost& resolved) override;
  void onUnresolved(const std::string& failure) override { fail(failure); }
  void beforeDrop() override;

  void bind();
  void listenLocally();
  std::string boundAddress();
  void answer(zmq::message_t peer, zmq::message_t request, const std::string& text);

  /// What is wanted until the socket is bound, and had from then on. Nothing for a wildcard that is not bound.
  std::optional<Place> place_;

  std::optional<LocalListener> localListener_;
  std::optional<Clock::time_point> patienceEnds_;

  /// Where the endpoint's `inproc` name is listed; null unless it is.
  std::map<std::string, EndpointID>* boundNames_ = nullptr;
};

}  // namespace spf::zeromq
