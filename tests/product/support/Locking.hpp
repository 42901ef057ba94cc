#pragma once

#include <functional>

namespace spf::test {

/// While it lives, no mutex can be locked on this thread by what is linked into the test executable:
/// the system refuses. The executable is linked so that its locking comes here first.
class MutexFailure {
 public:
  MutexFailure();
  ~MutexFailure();
  MutexFailure(const MutexFailure&) = delete;
  MutexFailure& operator=(const MutexFailure&) = delete;
};

/// While it lives, an action runs on this thread before each such locking.
class LockingHook {
 public:
  explicit LockingHook(std::function<void()> action);
  ~LockingHook();
  LockingHook(const LockingHook&) = delete;
  LockingHook& operator=(const LockingHook&) = delete;

  void locking() const { action_(); }

 private:
  const std::function<void()> action_;
};

}  // namespace spf::test
