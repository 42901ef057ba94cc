#pragma once

namespace spfctl {

/// What the process ends with. A signal before everything was ready ends it with 128 and the
/// signal's number instead.
enum class ExitCode : int {
  done = 0,
  failedAtRunTime = 1,
  wrongUsage = 2,
  invalidConfiguration = 3,
  notReadyInTime = 4,
  refusedByFramework = 5
};

}  // namespace spfctl
