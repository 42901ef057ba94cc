#include "Publisher.hpp"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "OfferedServices.hpp"
#include "agent/spf/frameworksupport/keyNames.hpp"
#include "log.hpp"
#include "names.hpp"

namespace spf::publishers {

using agent::spf::frameworkinterfaces::EventSink;
using agent::spf::frameworksupport::requireNoKey;
using agent::spf::frameworksupport::splitKey;
using cppmicroservices::Any;
using cppmicroservices::any_cast;

namespace {

constexpr auto noTransport = "no transport is registered";
constexpr auto noFixedAddress = "the name has no fixed address to bind to";
constexpr auto onlyOwnAddresses = "the name stands for this publisher itself";

const char* listName(Direction direction) {
  return direction == Direction::bind ? "endpointsToBindTo" : "endpointsToConnectTo";
}

/// A value's text for a message; values may be of any type, even of one without a text.
struct Description {
  std::string text;
  std::string quoted;  ///< in quotes if it is the value's own
};

Description describe(const Any& value) {
  if (value.Empty()) {
    return {"an empty value", "an empty value"};
  }
  try {
    const std::string text = value.ToString();
    return {text, "'" + text + "'"};
  } catch (...) {
    return {"a value without a text form", "a value without a text form"};
  }
}

/// Returns why a text is no endpoint, naming it and what was expected; empty if it is one.
std::string whyMalformed(Direction direction, const std::string& text) {
  if (!isAddress(text) && !isDiscoveryName(text)) {
    return "malformed endpoint '" + text +
           "'; expected '<scheme>://<where>', or a discovery name of letters, digits, '.', '_' and '-'";
  }
  try {
    if (direction == Direction::bind) {
      requireNoKey(text);
    } else {
      splitKey(text);
    }
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "";
}

bool isFixed(const DiscoveredAddress& address) {
  return address.announcement.empty();
}

bool isAnnounced(const DiscoveredAddress& address) {
  return !isFixed(address);
}

bool isAnySocket(const Socket&) {
  return true;
}

bool isSamePlace(const DiscoveredAddress& left, const DiscoveredAddress& right) {
  return left.address == right.address && left.key == right.key;
}

/// Finds the entry with the address and the key of another one.
/// \return null if there is none
const DiscoveredAddress* findPlace(const std::vector<DiscoveredAddress>& addresses, const DiscoveredAddress& place) {
  const auto found = std::find_if(addresses.begin(), addresses.end(),
                                  [&](const DiscoveredAddress& address) { return isSamePlace(address, place); });
  return found == addresses.end() ? nullptr : &*found;
}

/// Removes the addresses that fulfil a condition, and those that are there already.
/// \param reason  why there is none, if these are all
template <class Condition>
Resolution without(Resolution resolution, Condition isUnwanted, const char* reason) {
  std::vector<DiscoveredAddress> kept;
  for (DiscoveredAddress& address : resolution.addresses) {
    if (!isUnwanted(address) && findPlace(kept, address) == nullptr) {
      kept.push_back(std::move(address));
    }
  }
  if (kept.empty() && resolution.reason.empty()) {
    resolution.reason = reason;
  }
  resolution.addresses = std::move(kept);
  return resolution;
}

}  // namespace

Publisher::Publisher(Environment& environment, std::string pid)
    : environment_(environment),
      pid_(std::move(pid)),
      answer_(std::make_shared<PeerAnswer>(environment.context(), environment.allowedAskers())) {}

void Publisher::update(PublisherRevision revision) {
  const bool removing = phase_ == Phase::removing;
  const auto& current = removing ? next_ : revision_;
  if (current && revision.origin.modificationCount < current->origin.modificationCount) {
    return;  // a late delivery of an older revision
  }
  if (removing) {
    next_ = std::move(revision);
  } else {
    apply(std::move(revision));
  }
  commit();
}

void Publisher::remove() {
  if (next_) {
    withdrawn_.push_back(next_->origin);
    next_.reset();
  }
  phase_ = Phase::removing;
  closeAll();
  finishRemoval();
  commit();
}

void Publisher::release() {
  next_.reset();
  if (phase_ != Phase::removing) {
    phase_ = Phase::empty;
    revision_.reset();
  }
  closeAll();
  commit();
}

void Publisher::announce() {
  for (ConfiguredEndpoint& endpoint : used_) {
    for (Socket& socket : endpoint.sockets()) {
      announce(socket);
    }
  }
}

void Publisher::follow() {
  openMissing();
  commit();
}

void Publisher::onSocket(SocketID id, const SocketReport& report) {
  if (report.event == SocketEvent::warned) {
    warn(report.details.reason);
  }
  const auto endpoint =
      std::find_if(used_.begin(), used_.end(), [id](ConfiguredEndpoint& used) { return used.find(id) != nullptr; });
  if (endpoint != used_.end()) {
    onUsedSocket(endpoint, id, report);
  } else if (report.event == SocketEvent::failed || report.event == SocketEvent::closed) {
    closing_.erase(
        std::remove_if(closing_.begin(), closing_.end(), [id](const Socket& socket) { return socket.id == id; }),
        closing_.end());
    finishRemoval();
  }
  commit();
}

void Publisher::onUsedSocket(Endpoints::iterator endpoint, SocketID id, const SocketReport& report) {
  switch (report.event) {
    case SocketEvent::trying:
    case SocketEvent::lost:
    case SocketEvent::refused:
      endpoint->onProgress(id, report);
      show(*endpoint);
      break;
    case SocketEvent::opened:
      endpoint->onProgress(id, report);
      onOpened(*endpoint, *endpoint->find(id));
      break;
    case SocketEvent::warned:
      break;
    case SocketEvent::failed:
      onFailure(endpoint, id, report.details.reason);
      break;
    case SocketEvent::closed:
      reopen(endpoint, id);
      break;
  }
}

void Publisher::onOpened(ConfiguredEndpoint& endpoint, Socket& socket) {
  show(endpoint);
  reportUp(endpoint, /*kept=*/false);
  if (endpoint.direction() == Direction::bind) {
    socket.reachable = environment_.reachable(socket.progress.tries.address);
    announce(socket);
  }
  publishIfReady();
}

void Publisher::onFailure(Endpoints::iterator endpoint, SocketID id, const std::string& reason) {
  if (!endpoint->find(id)->address.announcement.empty()) {
    // An announced address that is of no use must not affect the others of its name.
    warn(reason);
    endpoint->abandon(id, reason);
    show(*endpoint);
    return;
  }
  const EndpointTries tries = endpoint->find(id)->progress.tries;
  endpoint->drop(id);
  giveUp(endpoint, reason, tries);
}

bool Publisher::isGone() const {
  return phase_ == Phase::empty && !hasSockets();
}

bool Publisher::hasSockets() const {
  return !closing_.empty() || std::any_of(used_.begin(), used_.end(),
                                          [](const ConfiguredEndpoint& endpoint) { return endpoint.hasSockets(); });
}

void Publisher::apply(PublisherRevision revision) {
  revision_ = std::move(revision);
  phase_ = Phase::opening;
  hideAll();
  // Before the endpoints, so that the first peer already receives the complete answer.
  resolveServices();
  reconcileEndpoints();
  publishIfReady();
}

void Publisher::reconcileEndpoints() {
  Endpoints before = std::exchange(used_, {});
  std::size_t position = 0;
  for (const Any& endpoint : revision_->endpointsToBindTo) {
    reuseOrAdd({Direction::bind, position++}, endpoint, before);
  }
  position = 0;
  for (const Any& endpoint : revision_->endpointsToConnectTo) {
    reuseOrAdd({Direction::connect, position++}, endpoint, before);
  }
  close(before);
  announce();
  openMissing();
}

void Publisher::reuseOrAdd(EndpointStates::Position position, const Any& configured, Endpoints& before) {
  const auto* text = any_cast<std::string>(&configured);
  if (text == nullptr) {
    const auto [shown, quoted] = describe(configured);
    refuse(position, shown,
           std::string(listName(position.first)) + "[" + std::to_string(position.second) + "], " + quoted +
               ": the endpoint is no text",
           {});
    return;
  }
  const std::string problem = whyMalformed(position.first, *text);
  if (!problem.empty()) {
    refuse(position, *text, problem, {});
    return;
  }
  const auto isSame = [&](const ConfiguredEndpoint& endpoint) {
    return endpoint.direction() == position.first && endpoint.text() == *text;
  };
  if (std::any_of(used_.begin(), used_.end(), isSame)) {
    return;  // configured twice: one endpoint stands for both
  }
  const auto kept = std::find_if(before.begin(), before.end(), isSame);
  if (kept == before.end()) {
    used_.emplace_back(position, configured, *text);
    return;
  }
  used_.splice(used_.end(), before, kept);
  kept->startRevision(position.second);
  show(*kept);
  reportUp(*kept, /*kept=*/true);
}

/// Fails because of an endpoint that is not tried again in this revision.
void Publisher::refuse(EndpointStates::Position position, const std::string& text, const std::string& reason,
                       const EndpointTries& tries) {
  changedRecords_[position] = {{revision_->origin.servicePublisherID, revision_->origin.modificationCount,
                                position.first, text, EndpointState::Phase::refused, tries.address, tries.count, reason,
                                Progress::Clock::now()}};
  fail(reason);
}

void Publisher::openMissing() {
  for (auto next = used_.begin(); next != used_.end();) {
    const auto endpoint = next++;  // it may be given up
    if (openMissing(endpoint)) {
      show(*endpoint);
    }
  }
}

/// \return whether the endpoint has changed and is still in use
bool Publisher::openMissing(Endpoints::iterator used) {
  ConfiguredEndpoint& endpoint = *used;
  const bool isFollowing = endpoint.direction() == Direction::connect && !isAddress(endpoint.text());
  if (endpoint.hasSockets() && !isFollowing) {
    return false;
  }
  Resolution resolution;
  try {
    resolution = resolve(endpoint);
  } catch (const std::runtime_error& error) {
    giveUp(used, error.what(), {});
    return false;
  }
  if (endpoint.hasSockets() && !resolution.isAnswered) {
    return false;  // nobody says that the addresses are others now
  }
  bool isChanged = moveTo(endpoint, resolution.addresses);
  if (!endpoint.hasSockets()) {
    const bool isResolved = !resolution.addresses.empty();
    const bool isMarkChanged =
        isResolved
            ? endpoint.markWithoutSockets(Progress::Phase::opening, resolution.addresses.front().address, noTransport)
            : endpoint.markWithoutSockets(Progress::Phase::unresolved, "", resolution.reason);
    isChanged = isChanged || isMarkChanged;
  }
  return isChanged;
}

/// Closes the sockets at other addresses than these, and opens those that are missing. Keeps the others as they are, in
/// the order of the addresses.
/// \return whether the endpoint has changed
bool Publisher::moveTo(ConfiguredEndpoint& endpoint, const std::vector<DiscoveredAddress>& addresses) {
  const auto before = endpoint.sockets().size();
  auto unused = endpoint.takeIf([&](const Socket& socket) {
    const auto* address = findPlace(addresses, socket.address);
    const bool isWithoutUse = !socket.transport && address != nullptr && !(*address == socket.address);
    return address == nullptr || isWithoutUse;  // what was of no use is tried again once it is announced anew
  });
  bool isChanged = endpoint.sockets().size() != before;
  close(std::move(unused));
  for (const DiscoveredAddress& address : addresses) {
    const auto kept = std::find_if(endpoint.sockets().begin(), endpoint.sockets().end(),
                                   [&](const Socket& socket) { return isSamePlace(socket.address, address); });
    if (kept != endpoint.sockets().end()) {
      kept->address = address;
      continue;
    }
    Socket socket = openSocket(endpoint, address);
    if (socket.transport) {
      endpoint.add(std::move(socket));
      isChanged = true;
    }
  }
  const auto position = [&](const Socket& socket) { return findPlace(addresses, socket.address); };
  std::sort(endpoint.sockets().begin(), endpoint.sockets().end(),
            [&](const Socket& left, const Socket& right) { return position(left) < position(right); });
  return isChanged;
}

/// Returns the addresses of an endpoint, each of them once.
/// \throws std::runtime_error if one of its fixed addresses has a name of a key that is malformed, or of no use
Resolution Publisher::resolve(const ConfiguredEndpoint& endpoint) const {
  if (isAddress(endpoint.text())) {
    const auto split = splitKey(endpoint.text());
    return {{{split.address, split.key, ""}}, "", true};
  }
  Resolution resolution = environment_.resolve(endpoint.text());
  for (DiscoveredAddress& address : resolution.addresses) {
    if (isFixed(address)) {
      address = separate(endpoint, address);
    }
  }
  if (endpoint.direction() == Direction::bind) {
    return without(std::move(resolution), isAnnounced, noFixedAddress);
  }
  return without(
      std::move(resolution), [this](const DiscoveredAddress& address) { return isOwn(address); }, onlyOwnAddresses);
}

/// Returns a fixed address without its name of a key, which is apart. To bind to, it may only be this process's own,
/// as where several hosts have one table, and is left out.
/// \throws std::runtime_error if it is another one, or malformed
DiscoveredAddress Publisher::separate(const ConfiguredEndpoint& endpoint, DiscoveredAddress address) const {
  if (address.key.empty()) {
    const auto split = splitKey(address.address);
    address.address = split.address;
    address.key = split.key;
  }
  if (endpoint.direction() == Direction::connect || address.key.empty()) {
    return address;
  }
  if (address.key != environment_.keyName()) {
    throw std::runtime_error("cannot bind endpoint '" + endpoint.text() + "' to '" + address.address + "#" +
                             address.key + "': a name of a key is for connections only, unless it is this process's");
  }
  address.key.clear();
  return address;
}

/// Returns whether this publisher announces an address, or has left an announcement of it behind.
bool Publisher::isOwn(const DiscoveredAddress& address) const {
  if (address.announcement.empty()) {
    return false;
  }
  const auto isAnnouncedBy = [&](const Socket& socket) {
    return socket.announced && (socket.announced->announcement->id() == address.announcement ||
                                socket.announced->endpoint.address == address.address);
  };
  return std::any_of(used_.begin(), used_.end(), [&](const ConfiguredEndpoint& endpoint) {
    const auto& sockets = endpoint.sockets();
    return std::any_of(sockets.begin(), sockets.end(), isAnnouncedBy);
  });
}

Socket Publisher::openSocket(const ConfiguredEndpoint& endpoint, const DiscoveredAddress& address) {
  const bool answers = revision_->kind == Kind::rpc && endpoint.direction() == Direction::bind;
  return environment_.open(pid_, endpoint.direction(), revision_->origin.servicePublisherID, endpoint.text(), address,
                           answers ? answer_ : nullptr);
}

/// Reopens a socket that its transport closed unasked. If no transport is registered, the next one opens it.
void Publisher::reopen(Endpoints::iterator endpoint, SocketID id) {
  Socket& closed = *endpoint->find(id);
  closed.announced.reset();
  const DiscoveredAddress address = closed.address;
  if (closed.isReplacement && environment_.isInUse(*closed.transport)) {
    // Once for each revision, because a transport that keeps closing it would cause an endless loop.
    const EndpointTries tries = closed.progress.tries;
    endpoint->drop(id);
    giveUp(endpoint, "the transport closed endpoint '" + endpoint->text() + "' unasked, and once more when reopened",
           tries);
    return;
  }
  Socket socket = openSocket(*endpoint, address);
  if (socket.transport) {
    socket.isReplacement = socket.transport == closed.transport;
    endpoint->replace(id, std::move(socket));
  } else {
    endpoint->drop(id);
    if (!endpoint->hasSockets()) {
      endpoint->markWithoutSockets(Progress::Phase::opening, address.address, noTransport);
    }
  }
  show(*endpoint);
}

void Publisher::giveUp(Endpoints::iterator endpoint, const std::string& reason, const EndpointTries& tries) {
  refuse(endpoint->position(), endpoint->text(), reason, tries);
  // The next revision opens it again, with all of its addresses.
  Endpoints refused;
  refused.splice(refused.end(), used_, endpoint);
  close(refused);
}

void Publisher::announce(Socket& socket) {
  const std::string& name = revision_->origin.servicePublisherID;
  if (socket.reachable.empty() || !isDiscoveryName(name)) {
    socket.announced.reset();
    return;
  }
  std::string failure = environment_.announce(
      {name, socket.reachable, environment_.keyName(), revision_->configurationID}, socket.announced);
  if (failure != socket.announceFailure && !failure.empty()) {
    warn("cannot announce '" + socket.reachable + "': " + failure);
  }
  socket.announceFailure = std::move(failure);
}

void Publisher::resolveServices() {
  std::vector<MappedService> services;
  try {
    requireFilter("importFilter", revision_->importFilter);
    requireFilter("exportFilter", revision_->exportFilter);
    services = OfferedServices(environment_.context()).select(revision_->services, revision_->exportFilter);
  } catch (const std::runtime_error& error) {
    fail(error.what());
  }
  answer_->set(revision_->origin.servicePublisherID, services);
}

void Publisher::publishIfReady() {
  if (phase_ != Phase::opening) {
    return;
  }
  for (const ConfiguredEndpoint& endpoint : used_) {
    if (endpoint.direction() == Direction::bind && !endpoint.isUp()) {
      return;
    }
  }
  phase_ = Phase::published;
  report([origin = revision_->origin](EventSink& sink) { sink.allServicesPublished(origin); });
}

void Publisher::closeAll() {
  close(used_);
  hideAll();
}

/// Closes the sockets of endpoints, and removes the endpoints.
void Publisher::close(Endpoints& endpoints) {
  std::vector<Socket> sockets;
  for (ConfiguredEndpoint& endpoint : endpoints) {
    auto ofEndpoint = endpoint.takeIf(isAnySocket);
    std::move(ofEndpoint.begin(), ofEndpoint.end(), std::back_inserter(sockets));
  }
  endpoints.clear();
  close(std::move(sockets));
}

void Publisher::close(std::vector<Socket> sockets) {
  for (Socket& socket : sockets) {
    socket.announced.reset();
  }
  for (Socket& socket : sockets) {
    const auto transport = socket.transport;
    const auto endpoint = socket.endpoint;
    closing_.push_back(std::move(socket));
    transport->close(endpoint);
  }
}

void Publisher::finishRemoval() {
  if (phase_ != Phase::removing || hasSockets()) {
    return;
  }
  phase_ = Phase::empty;
  if (revision_) {
    reportUnpublished(revision_->origin);
    revision_.reset();
  }
  for (const EventSink::Origin& origin : std::exchange(withdrawn_, {})) {
    reportUnpublished(origin);
  }
  if (next_) {
    apply(*std::exchange(next_, std::nullopt));
  }
}

void Publisher::reportUnpublished(const EventSink::Origin& origin) {
  report([origin](EventSink& sink) { sink.allServicesUnpublished(origin); });
}

void Publisher::reportUp(ConfiguredEndpoint& endpoint, bool kept) {
  if (!endpoint.isToBeReported()) {
    return;
  }
  endpoint.markReported();
  report([origin = revision_->origin, direction = endpoint.direction(), configured = endpoint.configured(),
          kept](EventSink& sink) {
    if (direction == Direction::bind) {
      sink.endpointBound(origin, configured, kept);
    } else {
      sink.endpointConnected(origin, configured, kept);
    }
  });
}

void Publisher::fail(const std::string& reason) {
  if (phase_ == Phase::failed) {
    return;
  }
  phase_ = Phase::failed;
  auto error = std::make_exception_ptr(
      std::runtime_error("publisher '" + revision_->origin.servicePublisherID + "': " + reason));
  report([origin = revision_->origin, error = std::move(error)](EventSink& sink) mutable {
    sink.failed(origin, std::move(error));
  });
}

void Publisher::show(const ConfiguredEndpoint& endpoint) {
  changedRecords_[endpoint.position()] = endpoint.states(revision_->origin);
}

void Publisher::hideAll() {
  changedRecords_.clear();
  isEveryRecordChanged_ = true;
}

void Publisher::commit() {
  auto records = std::exchange(changedRecords_, {});
  if (std::exchange(isEveryRecordChanged_, false)) {
    environment_.states().replace(pid_, std::move(records));
  } else if (!records.empty()) {
    environment_.states().update(pid_, std::move(records));
  }
  const auto reports = std::exchange(reports_, {});
  if (reports.empty()) {
    return;
  }
  if (const auto sink = environment_.eventSink()) {
    for (const Report& call : reports) {
      call(*sink);
    }
  }
}

void Publisher::warn(const std::string& what) const {
  const auto& id = revision_ ? revision_->origin.servicePublisherID : pid_;
  logWarning("publisher '" + id + "': " + what);
}

}  // namespace spf::publishers
