#pragma once

#include <optional>

#include "Endpoint.hpp"
#include "LocalListener.hpp"

namespace spf::zeromq {

/// An endpoint that listens, and answers requests through its listener.
class BoundEndpoint : public Endpoint {
 public:
  using Endpoint::Endpoint;

  void onMessages() override;

  /// Returns whether the endpoint may be opened although another one holds a place that collides with its own.
  /// A closing holder is waited for without a limit. An open holder may be about to close, since the work of two
  /// publishers is not ordered: it is waited for until a deadline.
  bool mayIgnore(const BoundEndpoint& holder, Clock::time_point now);

  /// Returns whether the endpoint holds a place that collides with another endpoint's.
  bool isInTheWayOf(const BoundEndpoint& other) const;

 private:
  zmq::socket_type socketType() const override { return zmq::socket_type::router; }
  int monitoredEvents() const override { return ZMQ_EVENT_CLOSED | ZMQ_EVENT_CLOSE_FAILED; }
  std::size_t largestMessage() const override;
  bool checkAddress() override;
  void attach(SharedState& shared) override;
  bool detach() override;
  void onEvent(std::uint16_t event) override;
  void onResolved(const ResolvedHost& resolved) override;
  void beforeDrop() override;

  void bind();
  void listenLocally();
  std::string boundAddress();
  void answer(zmq::message_t peer, zmq::message_t request, const std::string& text);

  /// The requested place until the socket is bound, the occupied one from then on; nothing for an unbound wildcard.
  std::optional<Place> place_;

  std::optional<LocalListener> localListener_;
  std::optional<Clock::time_point> holderDeadline_;

  /// The list with the endpoint's `inproc` name; null while the name is not listed.
  std::map<std::string, EndpointID>* boundNames_ = nullptr;
};

}  // namespace spf::zeromq
