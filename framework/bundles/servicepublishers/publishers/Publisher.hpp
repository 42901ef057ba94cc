#pragma once

#include <exception>
#include <list>
#include <memory>
#include <optional>
#include <string>

#include "ConfiguredEndpoint.hpp"
#include "Environment.hpp"
#include "PeerAnswer.hpp"
#include "PublisherRevision.hpp"

namespace spf::publishers {

/// What stands behind one factory configuration: its endpoints and its services.
///
/// Takes the newest revision, keeps the endpoints that stay, closes those that go, opens those that
/// are new, and reports each of them and the services with the revision's count. Used from the
/// executor's thread.
class Publisher {
 public:
  /// \param environment  outlives the publisher
  /// \param pid          the factory configuration's PID
  Publisher(Environment& environment, std::string pid);

  /// Takes a revision unless it is older than the one in force. While the publisher is being
  /// removed the revision waits until that is done.
  void update(PublisherRevision revision);

  /// Closes everything, then reports that the services are unpublished.
  void remove();

  /// Closes everything without a report: the bundle is being stopped.
  void release();

  /// Opens what could not be opened before because a service was missing.
  void retry();

  void onSocket(SocketID id, SocketEvent event, const std::exception_ptr& reason);

  /// Whether nothing is left of the publisher.
  bool isGone() const;

  bool hasSockets() const;

 private:
  using Endpoints = std::list<ConfiguredEndpoint>;

  void apply(PublisherRevision revision);
  void reconcileEndpoints();
  void take(Direction direction, const cppmicroservices::Any& configured, std::size_t position, Endpoints& before);
  void open(ConfiguredEndpoint& endpoint);
  std::vector<std::string> addressesOf(const ConfiguredEndpoint& endpoint) const;
  void resolveServices();
  void publishIfReady();
  void closeAll();
  void finishRemoval();
  void dropSocket(SocketID id);
  void reportUp(const ConfiguredEndpoint& endpoint, bool kept) const;
  void fail(const std::string& reason);

  Environment& environment_;
  const std::string pid_;
  const std::shared_ptr<PeerAnswer> answer_;

  std::optional<PublisherRevision> revision_;
  bool servicesResolved_ = false;
  bool published_ = false;
  bool failed_ = false;

  Endpoints used_;
  Endpoints closing_;
  bool removing_ = false;
  std::optional<PublisherRevision> next_;
};

}  // namespace spf::publishers
