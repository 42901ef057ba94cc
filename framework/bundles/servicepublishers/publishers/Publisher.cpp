#include "Publisher.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "OfferedServices.hpp"
#include "log.hpp"

namespace spf::publishers {

using agent::spf::frameworkinterfaces::EventSink;
using cppmicroservices::Any;
using cppmicroservices::any_cast;

namespace {

constexpr auto noTransport = "no transport is registered";

/// Returns whether a text is an address, which the transport judges.
bool isAddress(const std::string& text) {
  return text.find("://") != std::string::npos;
}

bool isDiscoveryName(const std::string& text) {
  constexpr auto allowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789._-";
  return !text.empty() && text.find_first_not_of(allowed) == std::string::npos;
}

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

bool hasSocketsIn(const std::list<ConfiguredEndpoint>& endpoints) {
  return std::any_of(endpoints.begin(), endpoints.end(),
                     [](const ConfiguredEndpoint& endpoint) { return endpoint.hasSockets(); });
}

}  // namespace

Publisher::Publisher(Environment& environment, std::string pid)
    : environment_(environment), pid_(std::move(pid)), answer_(std::make_shared<PeerAnswer>(environment.context())) {}

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

void Publisher::retry() {
  openMissing();
  commit();
}

void Publisher::onSocket(SocketID id, const SocketReport& report) {
  const auto endpoint =
      std::find_if(used_.begin(), used_.end(), [id](const ConfiguredEndpoint& used) { return used.has(id); });
  if (endpoint != used_.end()) {
    onUsedSocket(endpoint, id, report);
  }
  if (report.event == SocketEvent::warned) {
    warn(report.details.reason);
  }
  if (report.event == SocketEvent::failed || report.event == SocketEvent::closed) {
    dropSocket(id);
    finishRemoval();
  }
  commit();
}

void Publisher::onUsedSocket(Endpoints::iterator endpoint, SocketID id, const SocketReport& report) {
  switch (report.event) {
    case SocketEvent::trying:
    case SocketEvent::lost:
      endpoint->onProgress(id, report);
      show(*endpoint);
      break;
    case SocketEvent::opened:
      endpoint->onProgress(id, report);
      show(*endpoint);
      reportUp(*endpoint, /*kept=*/false);
      publishIfReady();
      break;
    case SocketEvent::warned:
      break;
    case SocketEvent::failed:
      giveUp(endpoint, report.details.reason, endpoint->find(id)->progress.tries);
      break;
    case SocketEvent::closed:
      reopen(endpoint, id);
      break;
  }
}

bool Publisher::isGone() const {
  return phase_ == Phase::empty && !hasSockets();
}

bool Publisher::hasSockets() const {
  return hasSocketsIn(used_) || hasSocketsIn(closing_);
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
  for (ConfiguredEndpoint& endpoint : before) {
    endpoint.close();
  }
  closing_.splice(closing_.end(), before);
  closing_.remove_if([](const ConfiguredEndpoint& endpoint) { return !endpoint.hasSockets(); });
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
  if (!isAddress(*text) && !isDiscoveryName(*text)) {
    refuse(position, *text,
           "malformed endpoint '" + *text +
               "'; expected '<scheme>://<where>', or a discovery name of letters, digits, '.', '_' and '-'",
           {});
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
  for (ConfiguredEndpoint& endpoint : used_) {
    if (!endpoint.hasSockets()) {
      open(endpoint);
      show(endpoint);
    }
  }
}

void Publisher::open(ConfiguredEndpoint& endpoint) {
  std::vector<std::string> addresses;
  try {
    addresses = addressesOf(endpoint);
  } catch (const std::runtime_error& error) {
    endpoint.markWithoutSockets(Progress::Phase::unresolved, "", error.what());
    return;
  }
  for (const std::string& address : addresses) {
    Socket socket = openSocket(endpoint, address);
    if (socket.transport) {
      endpoint.add(std::move(socket));
    }
  }
  if (!endpoint.hasSockets()) {
    endpoint.markWithoutSockets(Progress::Phase::opening, addresses.front(), noTransport);
  }
}

Socket Publisher::openSocket(const ConfiguredEndpoint& endpoint, const std::string& address) {
  const bool answers = revision_->kind == Kind::rpc && endpoint.direction() == Direction::bind;
  return environment_.open(pid_, endpoint.direction(), {revision_->origin.servicePublisherID, endpoint.text(), address},
                           answers ? answer_ : nullptr);
}

/// Reopens a socket that its transport closed unasked. If no transport is registered, the next one opens it.
void Publisher::reopen(Endpoints::iterator endpoint, SocketID id) {
  const Socket closed = *endpoint->find(id);
  if (closed.isReplacement && environment_.isInUse(*closed.transport)) {
    // Once for each revision, because a transport that keeps closing it would cause an endless loop.
    giveUp(endpoint, "the transport closed endpoint '" + endpoint->text() + "' unasked, and once more when reopened",
           closed.progress.tries);
    return;
  }
  Socket socket = openSocket(*endpoint, closed.address);
  if (socket.transport) {
    socket.isReplacement = socket.transport == closed.transport;
    endpoint->replace(id, std::move(socket));
  } else {
    endpoint->drop(id);
    if (!endpoint->hasSockets()) {
      endpoint->markWithoutSockets(Progress::Phase::opening, closed.address, noTransport);
    }
  }
  show(*endpoint);
}

void Publisher::giveUp(Endpoints::iterator endpoint, const std::string& reason, const EndpointTries& tries) {
  refuse(endpoint->position(), endpoint->text(), reason, tries);
  // The next revision opens it again, with all of its addresses.
  endpoint->close();
  closing_.splice(closing_.end(), used_, endpoint);
}

std::vector<std::string> Publisher::addressesOf(const ConfiguredEndpoint& endpoint) const {
  if (isAddress(endpoint.text())) {
    return {endpoint.text()};
  }
  std::vector<std::string> addresses;
  for (auto& found : environment_.resolve(endpoint.text())) {
    addresses.push_back(std::move(found.address));
  }
  return addresses;
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
  for (ConfiguredEndpoint& endpoint : used_) {
    endpoint.close();
  }
  closing_.splice(closing_.end(), used_);
  hideAll();
}

void Publisher::finishRemoval() {
  if (phase_ != Phase::removing || hasSockets()) {
    return;
  }
  phase_ = Phase::empty;
  closing_.clear();
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

void Publisher::dropSocket(SocketID id) {
  for (ConfiguredEndpoint& endpoint : used_) {
    endpoint.drop(id);
  }
  for (ConfiguredEndpoint& endpoint : closing_) {
    endpoint.drop(id);
  }
  closing_.remove_if([](const ConfiguredEndpoint& endpoint) { return !endpoint.hasSockets(); });
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
  for (const Report& call : std::exchange(reports_, {})) {
    environment_.report(call);
  }
}

void Publisher::warn(const std::string& what) const {
  const auto& id = revision_ ? revision_->origin.servicePublisherID : pid_;
  logWarning("publisher '" + id + "': " + what);
}

}  // namespace spf::publishers
