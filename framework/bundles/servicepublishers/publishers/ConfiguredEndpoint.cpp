#include "ConfiguredEndpoint.hpp"

#include <algorithm>
#include <iterator>
#include <utility>

namespace spf::publishers {

namespace {

bool isOpen(const Socket& socket) {
  return socket.progress.phase == Progress::Phase::up;
}

bool wasOpen(const Socket& socket) {
  return socket.progress.wasUp();
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

Socket* ConfiguredEndpoint::find(SocketID id) {
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
  takeIf([](const Socket& socket) { return !socket.transport; });
  for (Socket& socket : sockets_) {
    socket.isReplacement = false;
  }
}

void ConfiguredEndpoint::replace(SocketID closed, Socket socket) {
  Socket* const before = find(closed);
  socket.progress = before->progress;
  publishers::lose(socket.progress, closedUnasked);
  *before = std::move(socket);
  reported_ = reported_ && direction() == Direction::connect;
}

void ConfiguredEndpoint::onProgress(SocketID id, const SocketReport& report) {
  Socket* const socket = find(id);
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
      withoutSockets_ = {};
      break;
    case SocketEvent::refused:
      socket->refusals = {report.details.count, report.details.reason};
      break;
    default:
      progress.tries.count = 0;
      progress.tries.reason = report.details.reason;
      progress.enter(Progress::Phase::lost);
  }
}

bool ConfiguredEndpoint::markWithoutSockets(Progress::Phase phase, const std::string& address,
                                            const std::string& reason) {
  const Progress before = withoutSockets_;
  withoutSockets_.enter(withoutSockets_.wasUp() ? Progress::Phase::lost : phase);
  withoutSockets_.tries = {address, 0, reason};
  return before.phase != withoutSockets_.phase || before.tries.address != address || before.tries.reason != reason;
}

std::vector<EndpointState> ConfiguredEndpoint::states(
    const agent::spf::frameworkinterfaces::EventSink::Origin& origin) const {
  std::vector<EndpointState> states;
  const auto add = [&](const Progress& progress, const Refusals& refusals) {
    states.push_back({origin.servicePublisherID, origin.modificationCount, direction(), text_, progress.phase,
                      progress.tries.address, progress.tries.count, progress.tries.reason, progress.since,
                      refusals.count, refusals.reason});
  };
  for (const Socket& socket : sockets_) {
    add(socket.progress, socket.refusals);
  }
  if (sockets_.empty()) {
    add(withoutSockets_, {});
  }
  return states;
}

void ConfiguredEndpoint::drop(SocketID id) {
  takeIf([id](const Socket& socket) { return socket.id == id; });
  reported_ = reported_ && (hasSockets() || direction() == Direction::connect);
}

void ConfiguredEndpoint::abandon(SocketID id, const std::string& reason) {
  Socket* const socket = find(id);
  socket->transport.reset();
  publishers::lose(socket->progress, reason);
}

std::vector<Socket> ConfiguredEndpoint::takeIf(const std::function<bool(const Socket&)>& isTaken) {
  const auto begin =
      std::stable_partition(sockets_.begin(), sockets_.end(), [&](const Socket& socket) { return !isTaken(socket); });
  std::vector<Socket> taken(std::make_move_iterator(begin), std::make_move_iterator(sockets_.end()));
  sockets_.erase(begin, sockets_.end());
  if (std::none_of(sockets_.begin(), sockets_.end(), wasOpen)) {
    lose(taken);
  }
  taken.erase(std::remove_if(taken.begin(), taken.end(), [](const Socket& socket) { return !socket.transport; }),
              taken.end());
  return taken;
}

/// Marks the endpoint as lost if one of the sockets that it has no longer was up, since the last of them was.
void ConfiguredEndpoint::lose(const std::vector<Socket>& taken) {
  for (const Socket& socket : taken) {
    if (!wasOpen(socket)) {
      continue;
    }
    Progress lost = socket.progress;
    publishers::lose(lost, "");
    if (!withoutSockets_.wasUp() || withoutSockets_.since < lost.since) {
      withoutSockets_ = lost;
    }
  }
  if (!withoutSockets_.wasUp() || direction() == Direction::bind) {
    return;
  }
  for (Socket& socket : sockets_) {
    socket.progress.phase = withoutSockets_.phase;
    socket.progress.since = withoutSockets_.since;
  }
}

}  // namespace spf::publishers
