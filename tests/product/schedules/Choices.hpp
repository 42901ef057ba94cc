#pragma once

#include <cstdint>
#include <vector>

namespace spf::test::schedules {

/// The choices of one schedule, which depend on its seed only.
///
/// There are three kinds of schedules, by turns: a random walk; one that stays with a thread for some decisions, which
/// gets further before it is interrupted; and probabilistic concurrency testing, which takes the thread of the highest
/// priority and lowers that priority at a few random decisions: it finds what needs few switches at the right places,
/// however long the schedule is. In the first two kinds threads have different speeds, which change now and then, since
/// most decisions are those of the runtime, and a short way would else always be done before a long one.
class Choices {
 public:
  explicit Choices(std::uint64_t seed);

  /// Returns a number below the limit.
  std::uint64_t below(std::uint64_t limit);

  /// Returns the priority of a new thread.
  std::uint64_t newPriority() { return priorityOfNew + below(1000000); }

  /// Returns whether a new object is quiet (see Scheduler.hpp): none, a quarter, half or three quarters of a schedule's
  /// are.
  bool isNewObjectQuiet() { return below(4) < quietQuarters_; }

  /// Chooses one of the threads that can go on.
  /// \param priorities  of the threads that can go on
  /// \param last        that of the thread that has come to the decision, which may be unable to go on; may be lowered
  std::size_t choose(const std::vector<std::uint64_t*>& priorities, std::uint64_t& last);

 private:
  enum class Kind { randomWalk, fewSwitches, priorities };

  std::size_t atRandomSpeed(const std::vector<std::uint64_t*>& priorities);

  static constexpr std::uint64_t priorityOfNew = 1000;
  static constexpr std::uint64_t mostChanges = 6;
  // Decisions count if several threads can go on, which are up to some hundred in a schedule; a change beyond the end
  // is one change less.
  static constexpr std::uint64_t decisionsWithChanges = 200;

  std::uint64_t state_;
  Kind kind_;
  std::uint64_t quietQuarters_;
  std::uint64_t decisions_ = 0;
  std::vector<std::uint64_t> changePoints_;
};

}  // namespace spf::test::schedules
