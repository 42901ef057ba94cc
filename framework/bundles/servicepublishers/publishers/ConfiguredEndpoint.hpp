#pragma once

#include <string>
#include <vector>

#include <cppmicroservices/Any.h>
#include "Environment.hpp"

namespace spf::publishers {

/// One endpoint of one publisher, as configured, and the sockets that stand for it: one for an
/// address, one for each address behind a discovery name. Used from the executor's thread.
class ConfiguredEndpoint {
 public:
  /// \param configured  what the configuration gave; reports carry it unchanged
  /// \param text        the same as text
  ConfiguredEndpoint(Direction direction, cppmicroservices::Any configured, std::string text);

  Direction direction() const noexcept { return direction_; }
  const cppmicroservices::Any& configured() const noexcept { return configured_; }
  const std::string& text() const noexcept { return text_; }

  /// Whether every socket that was to be bound is, or one of those that were to be connected.
  bool isUp() const;

  bool hasSockets() const noexcept { return !sockets_.empty(); }
  bool has(SocketID id) const;

  /// \return null when the socket is not of this endpoint
  const Socket* find(SocketID id) const;

  void add(Socket socket) { sockets_.push_back(std::move(socket)); }

  void markOpen(SocketID id) { setOpen(id, true); }
  void markLost(SocketID id) { setOpen(id, false); }

  /// Whether the endpoint is up and the current revision's listeners do not know.
  bool isToBeReported() const { return !reported_ && isUp(); }
  void markReported() { reported_ = true; }

  /// A new revision reports everything anew.
  void startRevision();

  /// Puts a socket in the place of one that is gone. Listeners hear again that the endpoint is bound; a
  /// connection is reported once for each revision.
  void replace(SocketID gone, Socket socket);

  /// Forgets a socket that is gone.
  void drop(SocketID id);

  /// Starts to close every socket.
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
