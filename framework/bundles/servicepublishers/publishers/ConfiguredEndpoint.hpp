#pragma once

#include <functional>
#include <string>
#include <vector>

#include <cppmicroservices/Any.h>
#include "Environment.hpp"

namespace spf::publishers {

/// One configured endpoint of a publisher and its sockets: one for an address, or one for each address of a discovery
/// name. Used on the executor's thread only.
class ConfiguredEndpoint {
 public:
  /// Constructs an endpoint without sockets.
  /// \param configured  the configured value, which reports contain unchanged
  /// \param text        that value as text
  /// \param position    its place in the publisher's current revision
  ConfiguredEndpoint(EndpointStates::Position position, cppmicroservices::Any configured, std::string text);

  Direction direction() const noexcept { return position_.first; }
  const EndpointStates::Position& position() const noexcept { return position_; }
  const cppmicroservices::Any& configured() const noexcept { return configured_; }
  const std::string& text() const noexcept { return text_; }

  /// Returns whether every socket is bound, or at least one is connected.
  bool isUp() const;

  bool hasSockets() const noexcept { return !sockets_.empty(); }
  std::vector<Socket>& sockets() noexcept { return sockets_; }
  const std::vector<Socket>& sockets() const noexcept { return sockets_; }

  /// Finds a socket by its ID.
  /// \return null if the socket does not belong to this endpoint
  Socket* find(SocketID id);

  /// Adds a socket to an endpoint without sockets, or another one for the same discovery name.
  void add(Socket socket);

  /// Handles a report of `trying`, `opened`, `lost` or `refused`.
  void onProgress(SocketID id, const SocketReport& report);

  /// Sets why the endpoint has no sockets. One that was up stays lost.
  /// \param address  the one that cannot be tried, if there is one
  /// \return whether that has changed
  bool markWithoutSockets(Progress::Phase phase, const std::string& address, const std::string& reason);

  /// Returns the records of the endpoint.
  std::vector<EndpointState> states(const agent::spf::frameworkinterfaces::EventSink::Origin& origin) const;

  /// Returns whether the endpoint is up and was not reported yet in the current revision.
  bool isToBeReported() const { return !reported_ && isUp(); }
  void markReported() { reported_ = true; }

  /// Begins a new revision, in which everything is reported again and every address is tried again.
  void startRevision(std::size_t index);

  /// Replaces a closed socket. A bound endpoint is reported again, a connection once for each revision.
  void replace(SocketID closed, Socket socket);

  /// Removes a closed socket. The last one leaves the endpoint lost if it was up; a bound one is reported again.
  void drop(SocketID id);

  /// Marks a socket that has failed as one whose address is of no use.
  void abandon(SocketID id, const std::string& reason);

  /// Removes the sockets that fulfil a condition. If one of them was up and no other was, the endpoint is lost.
  /// \return those that have to be closed
  std::vector<Socket> takeIf(const std::function<bool(const Socket&)>& isTaken);

 private:
  void lose(const std::vector<Socket>& taken);

  EndpointStates::Position position_;
  const cppmicroservices::Any configured_;
  const std::string text_;
  std::vector<Socket> sockets_;

  /// In force while there are no sockets. Lost from the loss of all sockets that were up until another one is up.
  Progress withoutSockets_;

  bool reported_ = false;
};

}  // namespace spf::publishers
