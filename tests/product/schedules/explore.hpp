#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace spf::test::schedules {

/// What runs in many schedules.
struct Scenario {
  const char* name;
  /// Whether every schedule begins in a new process, as what happens only once in a process needs it.
  bool once;
  /// Prepares what the schedules share, and returns what is run in each of them.
  std::function<std::function<void()>()> prepare;
};

/// Which schedules are run: a seed is a schedule.
struct Seeds {
  std::uint64_t first = 1;
  std::uint64_t count = 1000;

  /// Returns these seeds, or what the environment variable SCHEDULE_PARAMS says, as in "seed=42 schedules=1".
  [[nodiscard]] Seeds orFromEnvironment() const;
};

struct Exploration {
  struct Failure {
    std::uint64_t seed;
    std::string trace;
  };

  std::uint64_t schedules = 0;
  std::uint64_t distinct = 0;
  std::uint64_t decisions = 0;
  std::optional<Failure> failure;  // of the first schedule that failed, which is the last one that ran
  std::string lastTrace;
};

/// Runs the schedules in child processes, until one of them fails: by a requirement that does not hold, a deadlock, no
/// end, a crash, or an exception that nobody catches.
Exploration explore(const Scenario& scenario, Seeds seeds);

}  // namespace spf::test::schedules
