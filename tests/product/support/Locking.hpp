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

/// While it lives, an action runs on this thread after each such unlocking, but not inside of itself.
class UnlockingHook {
 public:
  explicit UnlockingHook(std::function<void()> action);
  ~UnlockingHook();
  UnlockingHook(const UnlockingHook&) = delete;
  UnlockingHook& operator=(const UnlockingHook&) = delete;

  void unlocked();

 private:
  const std::function<void()> action_;
  bool running_ = false;
};

}  // namespace spf::test
