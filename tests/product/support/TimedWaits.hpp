#pragma once

#include <pthread.h>

#include <chrono>
#include <functional>

namespace spf::test {

/// How many waits with a limit on a condition the calling thread has begun so far. The test executable
/// defines the C library's functions for them itself, counts, and passes the calls on.
int timedWaitsFromThisThread();

/// While it lives, the waits with a limit that its thread begins do not wait: at each of them happens
/// what the test says, with the mutex unlocked, and then it ends: when its time is up if the script
/// answers that, and otherwise at once.
class ScriptedTimedWaits {
 public:
  enum class End { wakeUp, timeOut };

  explicit ScriptedTimedWaits(std::function<End()> script);
  ~ScriptedTimedWaits();
  ScriptedTimedWaits(const ScriptedTimedWaits&) = delete;
  ScriptedTimedWaits& operator=(const ScriptedTimedWaits&) = delete;

  int wait(pthread_mutex_t* mutex, const timespec& deadline);

  /// Until when the last of them was to wait.
  std::chrono::steady_clock::time_point deadline() const { return deadline_; }

 private:
  const std::function<End()> script_;
  std::chrono::steady_clock::time_point deadline_;
};

}  // namespace spf::test
