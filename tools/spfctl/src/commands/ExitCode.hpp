#pragma once

namespace spfctl {

/// The exit codes of the process. After a signal before everything was ready, the code is 128 plus the
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
