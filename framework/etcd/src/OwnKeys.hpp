#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Attempts.hpp"
#include "Gateway.hpp"
#include "Lease.hpp"
#include "Trouble.hpp"

namespace agent::spf::etcd {

/// The keys that this process has put: written with the current lease, again with each new one, and deleted when they
/// are removed. Many are written by one request. Used by one thread.
///
///     idle ──> writing ──> idle
///      ^          │ failed
///      │          v
///      └─────── waiting
class OwnKeys {
 public:
  using TimePoint = Attempts::TimePoint;

  /// \param timeout  of one request
  OwnKeys(Gateway& gateway, Lease& lease, const Attempts& attempts, std::string prefix,
          std::chrono::milliseconds timeout);

  void put(const std::string& key, std::string value);

  /// Returns whether the key was there.
  bool remove(const std::string& key);

  /// Returns whether this process has removed the key since the reported state of it, or is about to: a watch may lag
  /// behind.
  bool isOutdated(const StoredKey& key) const;

  /// Compares with a listing, as `observe` does with a change.
  void observe(const ListingAnswer& listing);

  /// Writes a key again that somebody else has deleted or that a delayed request has set back, and deletes one that
  /// such a request has brought back: a member that was stopped may carry out late what another one was asked to do,
  /// too.
  void observe(const Change& change);

  /// Returns why keys are not written; empty if all is well.
  const std::string& trouble() const noexcept { return trouble_.text(); }

  /// Returns when `tick` has to be called.
  TimePoint wakeAt() const noexcept { return wakeAt_; }

  /// Writes what has to be written.
  void tick(TimePoint now);

  /// Tries again at once if the state is `waiting`: another request got an answer.
  void retry() noexcept;

  /// Gives up the current request and tries again at a point in time.
  void restart(TimePoint at) noexcept;

 private:
  enum class Phase { idle, writing, waiting };

  struct OwnKey {
    std::optional<std::string> value;  // nothing once it is removed
    std::uint64_t version = 0;         // of the last change by this process
    std::uint64_t written = 0;         // the version that etcd has
    LeaseId lease = 0;                 // with which it was written
    Revision revision = 0;             // of the store when it was written
    Revision lost = 0;                 // of the store when it was seen to differ
    bool mayExist = false;             // in etcd
  };

  struct Removal {
    LeaseId lease = 0;      // without which revisions are not comparable
    Revision revision = 0;  // of the store when the key was deleted
  };

  struct Batch {
    std::vector<Write> writes;
    std::vector<std::uint64_t> versions;
    LeaseId lease = 0;
  };

  bool isDue(const OwnKey& key) const;
  Batch nextBatch();
  void write(Batch batch);
  void receive(const Batch& batch, const GatewayAnswer& answer);
  void acknowledge(const Batch& batch, Revision revision);
  void compare(const Change& change);
  void removeStray(const std::string& key);
  void forgetRemovals(Revision seen);
  void fail(std::size_t member, const std::string& problem);

  Gateway& gateway_;
  Lease& lease_;
  Attempts attempts_;
  const std::string prefix_;
  const std::chrono::milliseconds timeout_;
  std::map<std::string, OwnKey> keys_;
  std::map<std::string, Removal> removals_;  // that have not been seen yet
  std::uint64_t lastVersion_ = 0;
  Phase phase_ = Phase::idle;
  bool hasLapsed_ = false;  // the lease of the last write; a second time in a row is a failure
  Trouble trouble_;
  TimePoint wakeAt_ = TimePoint::max();
  Gateway::Call call_;
};

}  // namespace agent::spf::etcd
