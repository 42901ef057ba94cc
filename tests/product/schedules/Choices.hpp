#pragma once

#include <cstdint>
#include <vector>

namespace spf::test::schedules {

/// The choices of one schedule, which depend on its seed only.
///
/// There are three kinds of schedules, by turns: a random walk, which takes any thread at any decision; one that stays
/// with a thread for some decisions, which gets further before it is interrupted; and probabilistic concurrency
/// testing, which takes the thread of the highest priority and lowers that priority at a few random decisions: it finds
/// what needs few switches at the right places, however long the schedule is.
class Choices {
 public:
  explicit Choices(std::uint64_t seed);

  /// Returns a number below the limit.
  std::uint64_t below(std::uint64_t limit);

  /// Returns the priority of a new thread.
  std::uint64_t newPriority() { return priorityOfNew + below(1000000); }

  /// Chooses one of the threads that can go on.
  /// \param priorities  of the threads; one may be lowered
  /// \param last        the thread that made the decision, or the number of threads if it cannot go on
  std::size_t choose(const std::vector<std::uint64_t*>& priorities, std::size_t last);

 private:
  enum class Kind { randomWalk, fewSwitches, priorities };

  static constexpr std::uint64_t priorityOfNew = 1000;
  static constexpr int changes = 3;
  // Schedules take up to some hundred decisions; a change beyond the end is one change less.
  static constexpr std::uint64_t decisionsWithChanges = 400;

  std::uint64_t state_;
  Kind kind_;
  std::uint64_t decisions_ = 0;
  std::uint64_t changePoints_[changes] = {};
};

}  // namespace spf::test::schedules
