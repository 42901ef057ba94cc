#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "Attempts.hpp"
#include "Copy.hpp"
#include "Gateway.hpp"
#include "OwnKeys.hpp"
#include "StreamSplitter.hpp"
#include "Trouble.hpp"
#include "agent/spf/etcd/Settings.hpp"

namespace agent::spf::etcd {

/// Keeps a copy of all keys: one listing, then one watch from the revision after it, at the same member. A read at this
/// member at every third of a time to live proves that it still belongs to the cluster; a watch alone would stay silent
/// for ever if not. Used by one thread.
///
/// Keys that a listing lacks stay in the copy for one time to live. The time of an outage does not count, since the
/// hosts cannot put them again during it: an outage lasts from the first failure of a listing to the next listing,
/// if every member has failed in between.
///
///     waiting ──> listing ──> opening ──> watching
///        ^           │           │           │
///        └───────────┴───────────┴───────────┘ failed, ended, cancelled
class Watch {
 public:
  using TimePoint = Attempts::TimePoint;

  Watch(Gateway& gateway, const Attempts& attempts, Copy& copy, OwnKeys& ownKeys, const Settings& settings);

  /// Returns whether a listing has ever arrived.
  bool isListed() const noexcept { return isListed_; }

  /// Returns whether the copy is current.
  bool isWatching() const noexcept { return phase_ == Phase::watching; }

  /// Returns why the copy is not current; empty if it is, and before the first answer.
  const std::string& trouble() const noexcept { return trouble_.text(); }

  /// Returns when `tick` has to be called.
  TimePoint wakeAt() const noexcept;

  /// Does what is due.
  void tick(TimePoint now);

  /// Tries again at once if the state is `waiting`: another request got an answer.
  void retry() noexcept;

  /// Gives up the current requests and begins with a listing at a point in time.
  void restart(TimePoint at) noexcept;

 private:
  enum class Phase { waiting, listing, opening, watching };

  void list();
  void receiveListing(const GatewayAnswer& answer);
  void takeListing(ListingAnswer listing);
  void open(Revision first);
  void receivePiece(std::string_view piece);
  bool receiveMessage(const std::string& message);
  void receiveCancellation(const WatchAnswer& answer);
  void receiveEnd(const GatewayAnswer& answer);
  void probe();
  void receiveProbe(const GatewayAnswer& answer);
  void fail(const std::string& problem);
  bool hasListed() const noexcept { return phase_ == Phase::opening || phase_ == Phase::watching; }
  void countFailedListing();
  void endOutage() noexcept;

  Gateway& gateway_;
  Attempts attempts_;
  Copy& copy_;
  OwnKeys& ownKeys_;
  const std::string prefix_;
  const std::chrono::seconds ttl_;
  const std::chrono::milliseconds third_;

  Phase phase_ = Phase::waiting;
  bool isListed_ = false;
  Trouble trouble_;
  TimePoint wakeAt_ = TimePoint::min();
  std::size_t member_ = 0;          // of the listing and the watch
  std::size_t failedListings_ = 0;  // since the last one that arrived
  TimePoint failingSince_;          // the first of them
  StreamSplitter splitter_{HttpLoop::longestAnswer};
  Gateway::Call listing_;
  Gateway::Call stream_;
  Gateway::Call probe_;
};

}  // namespace agent::spf::etcd
