#include "ConfiguredEndpoint.hpp"

#include <algorithm>
#include <utility>

namespace spf::publishers {

namespace {

bool isOpen(const Socket& socket) {
  return socket.open;
}

}  // namespace

ConfiguredEndpoint::ConfiguredEndpoint(Direction direction, cppmicroservices::Any configured, std::string text)
    : direction_(direction), configured_(std::move(configured)), text_(std::move(text)) {}

bool ConfiguredEndpoint::isUp() const {
  return direction_ == Direction::bind ? hasSockets() && std::all_of(sockets_.begin(), sockets_.end(), isOpen)
                                       : std::any_of(sockets_.begin(), sockets_.end(), isOpen);
}

bool ConfiguredEndpoint::has(SocketID id) const {
  return find(id) != nullptr;
}

const Socket* ConfiguredEndpoint::find(SocketID id) const {
  const auto found =
      std::find_if(sockets_.begin(), sockets_.end(), [id](const Socket& socket) { return socket.id == id; });
  return found == sockets_.end() ? nullptr : &*found;
}

void ConfiguredEndpoint::startRevision() {
  reported_ = false;
  for (Socket& socket : sockets_) {
    socket.isReplacement = false;
  }
}

void ConfiguredEndpoint::replace(SocketID closed, Socket socket) {
  const bool remainsReported = reported_ && direction_ == Direction::connect;
  drop(closed);
  add(std::move(socket));
  reported_ = remainsReported;
}

void ConfiguredEndpoint::setOpen(SocketID id, bool open) {
  for (Socket& socket : sockets_) {
    if (socket.id == id) {
      socket.open = open;
    }
  }
}

void ConfiguredEndpoint::drop(SocketID id) {
  sockets_.erase(
      std::remove_if(sockets_.begin(), sockets_.end(), [id](const Socket& socket) { return socket.id == id; }),
      sockets_.end());
  reported_ = reported_ && hasSockets();
}

void ConfiguredEndpoint::close() {
  for (const Socket& socket : sockets_) {
    socket.transport->close(socket.endpoint);
  }
}

}  // namespace spf::publishers
