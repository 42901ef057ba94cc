#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "agent/spf/frameworkinterfaces/EndpointStatus.hpp"
#include "agent/spf/frameworksetup/SPFConfiguration.hpp"
#include "agent/spf/frameworkwatch/PublisherWatch.hpp"
#include "commands/Changes.hpp"
#include "commands/EndpointRecords.hpp"
#include "commands/publisherStates.hpp"
#include "events/EventRecorder.hpp"
#include "file/ConfigurationSource.hpp"

namespace spfctl {

/// One configuration under one ID: its publication, its revisions, and its withdrawal. For one thread; requires a
/// running host.
class LiveConfiguration {
 public:
  /// \param source  what `publish` publishes; the recorder notes it at once, so it precedes all events
  LiveConfiguration(SharedSource source, Changes& changes, EventRecorder& recorder);

  /// Publishes the first revision. Blocks while bundles are installed.
  /// \throws what building a configuration throws
  void publish();

  /// Publishes another content as the next revision. What both have stays as it is.
  /// \throws what building a configuration throws; if the ID was lost by that, `isLost` returns true then
  void modify(SharedSource source);

  /// Returns whether a failed publication has left the configuration without a handle: it is still published, but
  /// cannot be modified.
  bool isLost() const { return isLost_; }

  /// Publishes the content of a lost configuration anew, under its ID and as its next revision. All connections may be
  /// lost. Blocks longer the more revisions there were.
  /// \throws what building a configuration throws; it stays lost then
  /// \param onProgress  called after each publication
  void republish(const std::function<void()>& onProgress = [] {});

  const std::string& id() const { return id_; }
  std::uint32_t revision() const { return revision_; }
  const SharedSource& source() const { return source_; }
  std::chrono::system_clock::time_point publishedAt() const { return publishedAt_; }

  /// Returns the current states of the publishers, in the order of the configuration.
  std::vector<PublisherState> states();

  /// Returns the framework's records of the endpoints, as of the last call of `states`.
  const std::vector<agent::spf::frameworkinterfaces::EndpointState>& endpoints() const { return endpoints_; }

  /// Withdraws the configuration, also a lost one if a publication succeeds; waits for nothing. Never throws.
  /// \return false for a lost one that stays published until the framework stops
  bool withdraw() noexcept;

  /// What is still to be unpublished after a withdrawal.
  struct Remainder {
    bool isDone = false;
    std::vector<std::string> publishers;  ///< empty also while silent publishers are waited for
  };

  Remainder remainder();

 private:
  using Watch = std::unique_ptr<agent::spf::frameworkwatch::PublisherWatch>;

  void takeOver();
  Watch watchFor(const ConfigurationDescription& description, std::uint32_t revision);
  void retireWatch(const ConfigurationDescription& next);
  void pruneRetired();
  void notePublication(const ConfigurationSource& source, std::uint32_t revision) const;
  void noteStart(SharedSource source, std::uint32_t revision);

  Changes& changes_;
  EventRecorder& recorder_;
  EndpointRecords records_;
  SharedSource source_;
  const std::string recordedID_;  // one ID in all of a recording, although another file may have none
  std::string id_;
  std::uint32_t revision_ = 0;
  std::chrono::system_clock::time_point publishedAt_;
  bool isLost_ = false;
  Watch watch_;

  // Watches of earlier revisions, for the publishers that a later one has removed.
  std::vector<std::pair<Watch, std::set<std::string>>> retired_;

  agent::spf::frameworksetup::SPFConfiguration configuration_;
  std::optional<PublisherStates> tracked_;
  std::vector<agent::spf::frameworkinterfaces::EndpointState> endpoints_;
};

}  // namespace spfctl
