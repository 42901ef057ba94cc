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

bool isAddress(const std::string& text) {
  return text.find("://") != std::string::npos;
}

const char* listName(Direction direction) {
  return direction == Direction::bind ? "endpointsToBindTo" : "endpointsToConnectTo";
}

/// Returns a value's text for a message; values may be of any type, even of one without a text.
std::string describe(const Any& value) {
  if (value.Empty()) {
    return "an empty value";
  }
  try {
    return "'" + value.ToString() + "'";
  } catch (...) {
    return "a value without a text form";
  }
}

std::string textOf(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const std::exception& exception) {
    return exception.what();
  } catch (...) {
    return "unknown failure";
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
}

void Publisher::remove() {
  next_.reset();
  phase_ = Phase::removing;
  closeAll();
  finishRemoval();
}

void Publisher::release() {
  next_.reset();
  if (phase_ != Phase::removing) {
    phase_ = Phase::empty;
    revision_.reset();
  }
  closeAll();
}

void Publisher::retry() {
  for (ConfiguredEndpoint& endpoint : used_) {
    if (!endpoint.hasSockets()) {
      open(endpoint);
    }
  }
}

void Publisher::onSocket(SocketID id, SocketEvent event, const std::exception_ptr& reason) {
  const auto endpoint =
      std::find_if(used_.begin(), used_.end(), [id](const ConfiguredEndpoint& used) { return used.has(id); });
  const bool isUsed = endpoint != used_.end();
  switch (event) {
    case SocketEvent::opened:
      if (isUsed) {
        endpoint->markOpen(id);
        reportUp(*endpoint, /*kept=*/false);
        publishIfReady();
      }
      return;
    case SocketEvent::lost:
      if (isUsed) {
        endpoint->markLost(id);
      }
      return;
    case SocketEvent::warned:
      warn(textOf(reason));
      return;
    case SocketEvent::failed:
      if (isUsed) {
        giveUp(endpoint, textOf(reason));
      }
      break;
    case SocketEvent::closed:
      if (isUsed) {
        reopen(endpoint, id);
      }
      break;
  }
  dropSocket(id);
  finishRemoval();
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
  // Before the endpoints, so that the first peer already receives the complete answer.
  resolveServices();
  reconcileEndpoints();
  publishIfReady();
}

void Publisher::reconcileEndpoints() {
  Endpoints before = std::exchange(used_, {});
  std::size_t position = 0;
  for (const Any& endpoint : revision_->endpointsToBindTo) {
    reuseOrAdd(Direction::bind, endpoint, position++, before);
  }
  position = 0;
  for (const Any& endpoint : revision_->endpointsToConnectTo) {
    reuseOrAdd(Direction::connect, endpoint, position++, before);
  }
  for (ConfiguredEndpoint& endpoint : before) {
    endpoint.close();
  }
  closing_.splice(closing_.end(), before);
  closing_.remove_if([](const ConfiguredEndpoint& endpoint) { return !endpoint.hasSockets(); });
  retry();
}

void Publisher::reuseOrAdd(Direction direction, const Any& configured, std::size_t position, Endpoints& before) {
  const auto* text = any_cast<std::string>(&configured);
  if (text == nullptr) {
    fail(std::string(listName(direction)) + "[" + std::to_string(position) + "], " + describe(configured) +
         ": the endpoint is no text");
    return;
  }
  const auto isSame = [&](const ConfiguredEndpoint& endpoint) {
    return endpoint.direction() == direction && endpoint.text() == *text;
  };
  if (std::any_of(used_.begin(), used_.end(), isSame)) {
    return;  // configured twice: one endpoint stands for both
  }
  const auto kept = std::find_if(before.begin(), before.end(), isSame);
  if (kept == before.end()) {
    used_.emplace_back(direction, configured, *text);
    return;
  }
  used_.splice(used_.end(), before, kept);
  kept->startRevision();
  reportUp(*kept, /*kept=*/true);
}

void Publisher::open(ConfiguredEndpoint& endpoint) {
  const auto addresses = addressesOf(endpoint);
  if (addresses.empty() && revision_->kind == Kind::rpc) {
    fail("malformed endpoint '" + endpoint.text() + "'; expected '<scheme>://<where>' or a known discovery name");
  }
  for (const std::string& address : addresses) {
    Socket socket = openSocket(endpoint, address);
    if (socket.transport) {
      endpoint.add(std::move(socket));
    }
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
    giveUp(endpoint, "the transport closed endpoint '" + endpoint->text() + "' unasked, and once more when reopened");
    return;
  }
  Socket socket = openSocket(*endpoint, closed.address);
  if (socket.transport) {
    socket.isReplacement = socket.transport == closed.transport;
    endpoint->replace(id, std::move(socket));
  }
}

void Publisher::giveUp(Endpoints::iterator endpoint, const std::string& reason) {
  fail(reason);
  // The next revision opens it again, with all of its addresses.
  endpoint->close();
  closing_.splice(closing_.end(), used_, endpoint);
}

std::vector<std::string> Publisher::addressesOf(const ConfiguredEndpoint& endpoint) const {
  if (isAddress(endpoint.text())) {
    return {endpoint.text()};
  }
  return environment_.resolve(endpoint.text());
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
  environment_.report([this](EventSink& sink) { sink.allServicesPublished(revision_->origin); });
}

void Publisher::closeAll() {
  for (ConfiguredEndpoint& endpoint : used_) {
    endpoint.close();
  }
  closing_.splice(closing_.end(), used_);
}

void Publisher::finishRemoval() {
  if (phase_ != Phase::removing || hasSockets()) {
    return;
  }
  phase_ = Phase::empty;
  closing_.clear();
  if (revision_) {
    environment_.report([this](EventSink& sink) { sink.allServicesUnpublished(revision_->origin); });
    revision_.reset();
  }
  if (next_) {
    apply(*std::exchange(next_, std::nullopt));
  }
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
  environment_.report([&](EventSink& sink) {
    if (endpoint.direction() == Direction::bind) {
      sink.endpointBound(revision_->origin, endpoint.configured(), kept);
    } else {
      sink.endpointConnected(revision_->origin, endpoint.configured(), kept);
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
  environment_.report([&](EventSink& sink) { sink.failed(revision_->origin, std::move(error)); });
}

void Publisher::warn(const std::string& what) const {
  const auto& id = revision_ ? revision_->origin.servicePublisherID : pid_;
  logWarning("publisher '" + id + "': " + what);
}

}  // namespace spf::publishers
