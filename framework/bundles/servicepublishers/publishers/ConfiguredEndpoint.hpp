#pragma once

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
  ConfiguredEndpoint(Direction direction, cppmicroservices::Any configured, std::string text);

  Direction direction() const noexcept { return direction_; }
  const cppmicroservices::Any& configured() const noexcept { return configured_; }
  const std::string& text() const noexcept { return text_; }

  /// Returns whether every socket is bound, or at least one is connected.
  bool isUp() const;

  bool hasSockets() const noexcept { return !sockets_.empty(); }
  bool has(SocketID id) const;

  /// Finds a socket by its ID.
  /// \return null if the socket does not belong to this endpoint
  const Socket* find(SocketID id) const;

  void add(Socket socket) { sockets_.push_back(std::move(socket)); }

  void markOpen(SocketID id) { setOpen(id, true); }
  void markLost(SocketID id) { setOpen(id, false); }

  /// Returns whether the endpoint is up and was not reported yet in the current revision.
  bool isToBeReported() const { return !reported_ && isUp(); }
  void markReported() { reported_ = true; }

  /// Begins a new revision, in which everything is reported again.
  void startRevision();

  /// Replaces a closed socket. A bound endpoint is reported again, a connection once for each revision.
  void replace(SocketID closed, Socket socket);

  /// Removes a closed socket from the endpoint.
  void drop(SocketID id);

  /// Starts closing every socket.
  void close();

 private:
  void setOpen(SocketID id, bool open);

  const Direction direction_;
  const cppmicroservices::Any configured_;
  const std::string text_;
  std::vector<Socket> sockets_;
  bool reported_ = false;
};

}  // namespace spf::publishers
