#include "ConfiguredEndpoint.hpp"

#include <algorithm>
#include <utility>

namespace spf::publishers {

namespace {

bool isOpen(const Socket& socket) {
  return socket.progress.phase == Progress::Phase::up;
}

/// Marks what was up as lost; since when is kept if it was lost before.
void lose(Progress& progress, const std::string& reason) {
  if (progress.wasUp()) {
    progress.enter(Progress::Phase::lost);
  }
  progress.tries.count = 0;
  progress.tries.reason = reason;
}

constexpr auto closedUnasked = "the transport closed the endpoint";

}  // namespace

ConfiguredEndpoint::ConfiguredEndpoint(EndpointStates::Position position, cppmicroservices::Any configured,
                                       std::string text)
    : position_(position), configured_(std::move(configured)), text_(std::move(text)) {}

bool ConfiguredEndpoint::isUp() const {
  return direction() == Direction::bind ? hasSockets() && std::all_of(sockets_.begin(), sockets_.end(), isOpen)
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

void ConfiguredEndpoint::add(Socket socket) {
  if (withoutSockets_.wasUp()) {
    socket.progress.phase = withoutSockets_.phase;
    socket.progress.since = withoutSockets_.since;
  }
  sockets_.push_back(std::move(socket));
}

void ConfiguredEndpoint::startRevision(std::size_t index) {
  position_.second = index;
  reported_ = false;
  for (Socket& socket : sockets_) {
    socket.isReplacement = false;
  }
}

void ConfiguredEndpoint::replace(SocketID closed, Socket socket) {
  const bool remainsReported = reported_ && direction() == Direction::connect;
  if (const Socket* before = find(closed)) {
    socket.progress = before->progress;
    lose(socket.progress, closedUnasked);
  }
  drop(closed);
  sockets_.push_back(std::move(socket));
  reported_ = remainsReported;
}

void ConfiguredEndpoint::onProgress(SocketID id, const SocketReport& report) {
  const auto socket =
      std::find_if(sockets_.begin(), sockets_.end(), [id](const Socket& candidate) { return candidate.id == id; });
  if (socket == sockets_.end()) {
    return;
  }
  Progress& progress = socket->progress;
  switch (report.event) {
    case SocketEvent::trying:
      progress.tries = report.details;
      if (!progress.wasUp()) {
        progress.enter(report.details.address.empty() ? Progress::Phase::unresolved : Progress::Phase::opening);
      }
      break;
    case SocketEvent::opened:
      progress.tries.address = report.details.address;
      progress.tries.reason.clear();
      progress.enter(Progress::Phase::up);
      break;
    default:
      progress.tries.count = 0;
      progress.tries.reason = report.details.reason;
      progress.enter(Progress::Phase::lost);
  }
}

void ConfiguredEndpoint::markWithoutSockets(Progress::Phase phase, const std::string& address,
                                            const std::string& reason) {
  withoutSockets_.enter(withoutSockets_.wasUp() ? Progress::Phase::lost : phase);
  withoutSockets_.tries = {address, 0, reason};
}

std::vector<EndpointState> ConfiguredEndpoint::states(
    const agent::spf::frameworkinterfaces::EventSink::Origin& origin) const {
  std::vector<EndpointState> states;
  const auto add = [&](const Progress& progress) {
    states.push_back({origin.servicePublisherID, origin.modificationCount, direction(), text_, progress.phase,
                      progress.tries.address, progress.tries.count, progress.tries.reason, progress.since});
  };
  for (const Socket& socket : sockets_) {
    add(socket.progress);
  }
  if (sockets_.empty()) {
    add(withoutSockets_);
  }
  return states;
}

void ConfiguredEndpoint::drop(SocketID id) {
  const auto dropped =
      std::find_if(sockets_.begin(), sockets_.end(), [id](const Socket& socket) { return socket.id == id; });
  if (dropped == sockets_.end()) {
    return;
  }
  withoutSockets_ = dropped->progress;
  lose(withoutSockets_, closedUnasked);
  sockets_.erase(dropped);
  reported_ = reported_ && hasSockets();
}

void ConfiguredEndpoint::close() {
  for (const Socket& socket : sockets_) {
    socket.transport->close(socket.endpoint);
  }
}

}  // namespace spf::publishers
