#include "Locking.hpp"

#include <pthread.h>

#include <cerrno>
#include <utility>

namespace {

thread_local bool refusing = false;
thread_local spf::test::LockingHook* hook = nullptr;
thread_local spf::test::UnlockingHook* unlockingHook = nullptr;

}  // namespace

// Names that the linker's option --wrap makes. Visible, because the linker refuses a hidden one when a
// shared library defines the function that is wrapped, as a sanitizer's does.
extern "C" int __real_pthread_mutex_lock(pthread_mutex_t* mutex);
extern "C" __attribute__((visibility("default"))) int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
  if (hook != nullptr) {
    hook->locking();
  }
  return refusing ? EAGAIN : __real_pthread_mutex_lock(mutex);
}

extern "C" int __real_pthread_mutex_unlock(pthread_mutex_t* mutex);
extern "C" __attribute__((visibility("default"))) int __wrap_pthread_mutex_unlock(pthread_mutex_t* mutex) {
  const int result = __real_pthread_mutex_unlock(mutex);
  if (unlockingHook != nullptr) {
    unlockingHook->unlocked();
  }
  return result;
}

namespace spf::test {

MutexFailure::MutexFailure() {
  refusing = true;
}

MutexFailure::~MutexFailure() {
  refusing = false;
}

LockingHook::LockingHook(std::function<void()> action) : action_(std::move(action)) {
  hook = this;
}

LockingHook::~LockingHook() {
  hook = nullptr;
}

UnlockingHook::UnlockingHook(std::function<void()> action) : action_(std::move(action)) {
  unlockingHook = this;
}

UnlockingHook::~UnlockingHook() {
  unlockingHook = nullptr;
}

void UnlockingHook::unlocked() {
  if (!running_) {
    running_ = true;
    action_();
    running_ = false;
  }
}

}  // namespace spf::test
