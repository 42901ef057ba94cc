#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "Attempts.hpp"
#include "Gateway.hpp"
#include "Trouble.hpp"

namespace agent::spf::etcd {

/// The lease of this process: granted when it is first needed, kept alive at every third of the time that was granted,
/// and replaced by a new one when it has lapsed. Every member can be asked to keep it alive before it lapses, even if
/// none but the last one answers. Used by one thread.
///
///     none ──> granting ──> held <──> renewing
///              ^  │  ^        │         │  │
///              │  │  └────────┴─lapsed──┘  │
///              │  v failed                 │ failed
///            waiting <─────────────────────┘
///
/// `renewing` follows `waiting` if there is a lease that may still exist.
class Lease {
 public:
  using TimePoint = Attempts::TimePoint;

  Lease(Gateway& gateway, const Attempts& attempts, std::chrono::seconds ttl);

  /// Asks for a lease, from now on.
  void acquire();

  /// Returns the lease; zero if there is none.
  LeaseId id() const noexcept { return id_; }

  /// Reports that etcd does not know the lease any more.
  void lapse(LeaseId id);

  /// Returns why there is no lease, or why it may lapse; empty if all is well.
  const std::string& trouble() const noexcept { return trouble_.text(); }

  /// Returns when `tick` has to be called.
  TimePoint wakeAt() const noexcept { return wakeAt_; }

  /// Does what is due.
  void tick(TimePoint now);

  /// Tries again at once if the state is `waiting`: another request got an answer.
  void retry() noexcept;

  /// Gives up the current request and tries again at a point in time, if a lease is needed.
  void restart(TimePoint at) noexcept;

 private:
  enum class Phase { none, granting, held, renewing, waiting };

  void grant();
  void renew();
  void receiveGrant(const GatewayAnswer& answer);
  void receiveRenewal(const GatewayAnswer& answer);
  std::chrono::milliseconds limitOfRenewal(TimePoint now) const;
  void hold(std::chrono::seconds granted);
  void wait(TimePoint until) noexcept;
  void fail(std::size_t member, const std::string& problem);

  Gateway& gateway_;
  Attempts attempts_;
  const std::chrono::seconds ttl_;
  Phase phase_ = Phase::none;
  LeaseId id_ = 0;
  Trouble trouble_;
  TimePoint wakeAt_ = TimePoint::max();
  TimePoint askedAt_;   // for the current answer
  TimePoint lapsesAt_;  // at the earliest, if there is a lease
  Gateway::Call call_;
};

}  // namespace agent::spf::etcd
