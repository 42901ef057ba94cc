#pragma once

#include <chrono>
#include <cstddef>

#include "Backoff.hpp"
#include "Members.hpp"

namespace agent::spf::etcd {

/// When to try again after failures: every member once without a wait, then a wait that grows with every such round.
/// Used by one thread.
class Attempts {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  Attempts(Members& members, const Backoff& backoff) : members_(members), backoff_(backoff) {}

  /// Moves on to the next member.
  /// \return when to try it
  TimePoint fail(std::size_t member, TimePoint now) {
    members_.reportFailure(member);
    return ++failures_ % members_.count() == 0 ? now + backoff_.next() : now;
  }

  /// Returns how many members have not failed yet in this round, at least one.
  std::size_t membersLeft() const noexcept { return members_.count() - failures_ % members_.count(); }

  /// Stays with the member.
  /// \return when to try it again
  TimePoint repeat(TimePoint now) { return now + backoff_.next(); }

  void succeed() noexcept {
    failures_ = 0;
    backoff_.reset();
  }

 private:
  Members& members_;
  Backoff backoff_;
  std::size_t failures_ = 0;  // since the last success
};

}  // namespace agent::spf::etcd
