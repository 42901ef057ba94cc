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
/// executor's thread. It goes through these phases:
///
///     empty ──► opening ──► published ──► removing ──► empty
///                  └──────► failed ──────────▲
///
/// A revision leads from every phase but `removing` to `opening`; while the publisher is being
/// removed the revision waits for the end of that.
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

  enum class Phase {
    empty,      ///< no revision is in force
    opening,    ///< something that is to be bound is not bound yet
    published,  ///< everything is bound; connections come and go
    failed,     ///< an error was reported; what is open stays open until the next revision
    removing    ///< the sockets are being closed
  };

  void apply(PublisherRevision revision);
  void reconcileEndpoints();
  void take(Direction direction, const cppmicroservices::Any& configured, std::size_t position, Endpoints& before);
  void open(ConfiguredEndpoint& endpoint);
  Socket openSocket(const ConfiguredEndpoint& endpoint, const std::string& address);
  void reopen(Endpoints::iterator endpoint, SocketID id);
  void giveUp(Endpoints::iterator endpoint, const std::string& reason);
  std::vector<std::string> addressesOf(const ConfiguredEndpoint& endpoint) const;
  void resolveServices();
  void publishIfReady();
  void closeAll();
  void finishRemoval();
  void dropSocket(SocketID id);
  void reportUp(ConfiguredEndpoint& endpoint, bool kept);
  void fail(const std::string& reason);
  void warn(const std::string& what) const;

  Environment& environment_;
  const std::string pid_;
  const std::shared_ptr<PeerAnswer> answer_;

  Phase phase_ = Phase::empty;
  std::optional<PublisherRevision> revision_;  ///< the one in force, until its removal was reported
  std::optional<PublisherRevision> next_;      ///< the one that waits for the end of a removal

  Endpoints used_;
  Endpoints closing_;
};

}  // namespace spf::publishers
