#pragma once

#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ConfiguredEndpoint.hpp"
#include "Environment.hpp"
#include "PeerAnswer.hpp"
#include "PublisherRevision.hpp"

namespace spf::publishers {

/// The endpoints and services of one factory configuration.
///
/// Applies the newest revision: keeps the endpoints that both revisions have, closes those that the new one drops,
/// opens those that it adds, and reports each of them and the services with the revision's count. Used on the
/// executor's thread only. Its phases:
///
///     empty ──► opening ──► published ──► removing ──► empty
///                  └──────► failed ──────────▲
///
/// A new revision leads to `opening` from every phase but `removing`; during a removal it is applied at its end.
class Publisher {
 public:
  /// Constructs a publisher without a configuration.
  /// \param environment  outlives the publisher
  /// \param pid          the factory configuration's PID
  Publisher(Environment& environment, std::string pid);

  /// Applies a revision unless it is older than the current one. During a removal the revision is kept and applied at
  /// its end.
  void update(PublisherRevision revision);

  /// Closes every socket, then reports that the services are unpublished, also those of a revision that was kept.
  void remove();

  /// Closes every socket without a report, because the bundle is being stopped.
  void release();

  /// Lets the discovery that is registered now announce every bound endpoint.
  void announce();

  /// Opens the endpoints that could not be opened because a service was missing or did not know their name, and
  /// connects discovery names to the addresses that they stand for now, and to no others.
  void follow();

  /// Handles a transport's report about a socket.
  void onSocket(SocketID id, const SocketReport& report);

  /// Returns whether the publisher has neither a configuration nor sockets.
  bool isGone() const;

  bool hasSockets() const;

 private:
  using Endpoints = std::list<ConfiguredEndpoint>;

  enum class Phase {
    empty,      ///< there is no configuration
    opening,    ///< an endpoint is not bound yet
    published,  ///< every endpoint is bound; connections may be open or lost
    failed,     ///< an error was reported; open endpoints stay open until the next revision
    removing    ///< the sockets are being closed
  };

  using Report = std::function<void(agent::spf::frameworkinterfaces::EventSink&)>;

  void onUsedSocket(Endpoints::iterator endpoint, SocketID id, const SocketReport& report);
  void onOpened(ConfiguredEndpoint& endpoint, Socket& socket);
  void onFailure(Endpoints::iterator endpoint, SocketID id, const std::string& reason);
  void apply(PublisherRevision revision);
  void reconcileEndpoints();
  void reuseOrAdd(EndpointStates::Position position, const cppmicroservices::Any& configured, Endpoints& before);
  void refuse(EndpointStates::Position position, const std::string& text, const std::string& reason,
              const EndpointTries& tries);
  void openMissing();
  bool openMissing(Endpoints::iterator used);
  bool moveTo(ConfiguredEndpoint& endpoint, const std::vector<DiscoveredAddress>& addresses);
  Resolution resolve(const ConfiguredEndpoint& endpoint) const;
  DiscoveredAddress separate(const ConfiguredEndpoint& endpoint, DiscoveredAddress address) const;
  bool isOwn(const DiscoveredAddress& address) const;
  Socket openSocket(const ConfiguredEndpoint& endpoint, const DiscoveredAddress& address);
  void reopen(Endpoints::iterator endpoint, SocketID id);
  void giveUp(Endpoints::iterator endpoint, const std::string& reason, const EndpointTries& tries);
  void announce(Socket& socket);
  void resolveServices();
  void publishIfReady();
  void closeAll();
  void close(Endpoints& endpoints);
  void close(std::vector<Socket> sockets);
  void finishRemoval();
  void reportUnpublished(const agent::spf::frameworkinterfaces::EventSink::Origin& origin);
  void reportUp(ConfiguredEndpoint& endpoint, bool kept);
  void fail(const std::string& reason);
  void report(Report report) { reports_.push_back(std::move(report)); }
  void show(const ConfiguredEndpoint& endpoint);
  void hideAll();
  void commit();
  void warn(const std::string& what) const;

  Environment& environment_;
  const std::string pid_;
  const std::shared_ptr<PeerAnswer> answer_;

  Phase phase_ = Phase::empty;
  std::optional<PublisherRevision> revision_;  ///< the current one, until its removal is reported
  std::optional<PublisherRevision> next_;      ///< applied at the end of a removal

  /// Revisions that were removed before the end of an earlier removal, so that nothing was opened for them. Each
  /// removal has its own report.
  std::vector<agent::spf::frameworkinterfaces::EventSink::Origin> withdrawn_;

  Endpoints used_;
  std::vector<Socket> closing_;

  // What a call has changed. `commit` shows the records first, so that they contain what the reports say.
  EndpointStates::Records changedRecords_;
  bool isEveryRecordChanged_ = false;
  std::vector<Report> reports_;
};

}  // namespace spf::publishers
