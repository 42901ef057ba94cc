#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "Endpoint.hpp"
#include "HandshakeLedger.hpp"
#include "LocalListener.hpp"
#include "Refusals.hpp"

namespace spf::zeromq {

/// An endpoint that listens, and answers requests through its listener.
class BoundEndpoint : public Endpoint {
 public:
  using Endpoint::Endpoint;

  void onMessages() override;
  void onTrust(const SharedState& shared) override;
  void onTime(Clock::time_point now) override;
  std::optional<Clock::time_point> deadline() const noexcept override;

  /// Admits a peer whose key is trusted, and remembers the key for the time when it no longer is.
  /// \return false if the endpoint is not open; the peer must not be let in then
  bool admit(const agent::spf::security::PublicKey& key, const std::string& name);

  /// Returns whether the endpoint may be opened although another one holds a place that collides with its own.
  /// A closing holder is waited for without a limit. An open holder may be about to close, since the work of two
  /// publishers is not ordered: it is waited for until a deadline.
  bool mayIgnore(const BoundEndpoint& holder, Clock::time_point now);

  /// Returns whether the endpoint holds a place that collides with another endpoint's.
  bool isInTheWayOf(const BoundEndpoint& other) const;

 private:
  zmq::socket_type socketType() const override { return zmq::socket_type::router; }
  int monitoredEvents() const override;
  std::size_t largestMessage() const override;
  bool checkAddress() override;
  void checkKey(const SharedState& shared) const override;
  void encrypt(const SharedState& shared) override;
  void attach(SharedState& shared) override;
  bool detach() override;
  bool mayTryAgain(bool isShortage) const override;
  void tryAgain() override;
  void onEvent(const MonitorEvent& event) override;
  void onResolved(const ResolvedHost& resolved) override;
  void beforeDrop() override;

  void bind();
  void listenLocally();
  std::string boundAddress();

  /// Ends all connections, and binds the same address again, as often as necessary.
  void reopen();

  void onClosed();
  void onRefusal(const std::string& reason);
  void reportDueRefusals(Clock::time_point now);
  void warnOfPlainText(SharedState& shared, const std::string& opened);
  void answer(zmq::message_t peer, zmq::message_t number, zmq::message_t& request);

  /// The requested place until the socket is bound, the occupied one from then on; nothing for an unbound wildcard.
  std::optional<Place> place_;

  /// What to bind again, with the port that a wildcard has got.
  std::optional<std::string> reopenedAddress_;

  /// The keys that were accepted since the socket was opened, and their names.
  std::map<agent::spf::security::PublicKey, std::string> admitted_;

  HandshakeLedger handshakes_;
  Refusals refusals_;
  std::optional<LocalListener> localListener_;
  std::optional<Clock::time_point> holderDeadline_;

  /// The list with the endpoint's `inproc` name; null while the name is not listed.
  std::map<std::string, EndpointID>* boundNames_ = nullptr;
};

}  // namespace spf::zeromq
