// The functions of the C and C++ libraries that the scheduler decides about. The executable's come first when the
// program and its libraries are linked. They do nothing of their own for threads that take part in no schedule.

#include <dlfcn.h>
#include <malloc.h>
#include <pthread.h>

#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <new>

#include "Scheduler.hpp"

using spf::test::schedules::Scheduler;
using Access = Scheduler::Access;

namespace {

// Finds what the executable's function stands before. Conditions have an older form in the C library, which must not be
// found. No guarded static: guards are among the functions.
template <class Function>
Function* next(Function*& known, const char* name, const char* version = nullptr) {
  if (known == nullptr) {
    void* found = version != nullptr ? dlvsym(RTLD_NEXT, name, version) : nullptr;
    known = reinterpret_cast<Function*>(found != nullptr ? found : dlsym(RTLD_NEXT, name));
  }
  return known;
}

constexpr const char* conditionsOfToday = "GLIBC_2.3.2";

bool isRecursive(const pthread_mutex_t* mutex) {
  return (mutex->__data.__kind & 3) == PTHREAD_MUTEX_RECURSIVE_NP;
}

// A wait of most of a year has no end: its time-out is not to hide that nobody notifies it.
std::int64_t virtualTime(const timespec& time) {
  constexpr std::int64_t nanoseconds = 1'000'000'000;
  constexpr std::int64_t farAway = 300LL * 24 * 3600;
  return time.tv_sec > farAway ? Scheduler::never : time.tv_sec * nanoseconds + time.tv_nsec;
}

decltype(pthread_mutex_lock)* realLock = nullptr;
decltype(pthread_mutex_trylock)* realTryLock = nullptr;
decltype(pthread_mutex_unlock)* realUnlock = nullptr;

int wait(Scheduler& scheduler, pthread_cond_t* condition, pthread_mutex_t* mutex, std::int64_t deadline) {
  scheduler.decide(deadline == Scheduler::never ? "waits on" : "waits with a limit on", condition, 'c');
  next(realUnlock, "pthread_mutex_unlock")(mutex);
  const bool timedOut = scheduler.wait(condition, mutex, deadline);
  next(realLock, "pthread_mutex_lock")(mutex);
  return timedOut ? ETIMEDOUT : 0;
}

struct Start {
  Scheduler& scheduler;
  Scheduler::Thread& thread;
  void* (*routine)(void*);
  void* argument;
};

void* runThread(void* argument) {
  const Start start = *static_cast<Start*>(argument);
  std::free(argument);
  start.scheduler.enter(start.thread);
  void* const result = start.routine(start.argument);
  start.scheduler.leave();
  return result;
}

}  // namespace

#define EXPORTED __attribute__((visibility("default")))

extern "C" {

EXPORTED int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  if (auto* const scheduler = Scheduler::ofThisThread()) {
    scheduler->check(mutex, 'm');
    scheduler->acquire(mutex, 'm', Access::exclusive, isRecursive(mutex));
  }
  return next(realLock, "pthread_mutex_lock")(mutex);
}

EXPORTED int pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept {
  auto* const scheduler = Scheduler::ofThisThread();
  if (scheduler != nullptr) {
    scheduler->decide("tries to lock", mutex, 'm');
  }
  const int result = next(realTryLock, "pthread_mutex_trylock")(mutex);
  if (scheduler != nullptr && result == 0) {
    scheduler->acquired(mutex, 'm', Access::exclusive);
  }
  return result;
}

EXPORTED int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
  const int result = next(realUnlock, "pthread_mutex_unlock")(mutex);
  if (auto* const scheduler = Scheduler::ofThisThread()) {
    scheduler->release(mutex, 'm');
  }
  return result;
}

EXPORTED int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
  if (auto* const scheduler = Scheduler::ofThisThread()) {
    return wait(*scheduler, condition, mutex, Scheduler::never);
  }
  static decltype(pthread_cond_wait)* real;
  return next(real, "pthread_cond_wait", conditionsOfToday)(condition, mutex);
}

EXPORTED int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline) {
  if (auto* const scheduler = Scheduler::ofThisThread()) {
    return wait(*scheduler, condition, mutex, virtualTime(*deadline));
  }
  static decltype(pthread_cond_timedwait)* real;
  return next(real, "pthread_cond_timedwait", conditionsOfToday)(condition, mutex, deadline);
}

EXPORTED int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                                    const timespec* deadline) {
  if (auto* const scheduler = Scheduler::ofThisThread()) {
    return wait(*scheduler, condition, mutex, virtualTime(*deadline));
  }
  static decltype(pthread_cond_clockwait)* real;
  return next(real, "pthread_cond_clockwait")(condition, mutex, clock, deadline);
}

EXPORTED int pthread_cond_signal(pthread_cond_t* condition) noexcept {
  if (auto* const scheduler = Scheduler::ofThisThread()) {
    scheduler->decide("notifies one of", condition, 'c');
    scheduler->notify(condition, false);
  }
  static decltype(pthread_cond_signal)* real;
  return next(real, "pthread_cond_signal", conditionsOfToday)(condition);
}

EXPORTED int pthread_cond_broadcast(pthread_cond_t* condition) noexcept {
  if (auto* const scheduler = Scheduler::ofThisThread()) {
    scheduler->decide("notifies", condition, 'c');
    scheduler->notify(condition, true);
  }
  static decltype(pthread_cond_broadcast)* real;
  return next(real, "pthread_cond_broadcast", conditionsOfToday)(condition);
}

EXPORTED int pthread_rwlock_rdlock(pthread_rwlock_t* lock) noexcept {
  if (auto* const scheduler = Scheduler::ofThisThread()) {
    scheduler->acquire(lock, 'r', Access::shared);
  }
  static decltype(pthread_rwlock_rdlock)* real;
  return next(real, "pthread_rwlock_rdlock")(lock);
}

EXPORTED int pthread_rwlock_wrlock(pthread_rwlock_t* lock) noexcept {
  if (auto* const scheduler = Scheduler::ofThisThread()) {
    scheduler->acquire(lock, 'r', Access::exclusive);
  }
  static decltype(pthread_rwlock_wrlock)* real;
  return next(real, "pthread_rwlock_wrlock")(lock);
}

EXPORTED int pthread_rwlock_tryrdlock(pthread_rwlock_t* lock) noexcept {
  static decltype(pthread_rwlock_tryrdlock)* real;
  auto* const scheduler = Scheduler::ofThisThread();
  if (scheduler != nullptr) {
    scheduler->decide("tries to share", lock, 'r');
  }
  const int result = next(real, "pthread_rwlock_tryrdlock")(lock);
  if (scheduler != nullptr && result == 0) {
    scheduler->acquired(lock, 'r', Access::shared);
  }
  return result;
}

EXPORTED int pthread_rwlock_trywrlock(pthread_rwlock_t* lock) noexcept {
  static decltype(pthread_rwlock_trywrlock)* real;
  auto* const scheduler = Scheduler::ofThisThread();
  if (scheduler != nullptr) {
    scheduler->decide("tries to lock", lock, 'r');
  }
  const int result = next(real, "pthread_rwlock_trywrlock")(lock);
  if (scheduler != nullptr && result == 0) {
    scheduler->acquired(lock, 'r', Access::exclusive);
  }
  return result;
}

EXPORTED int pthread_rwlock_unlock(pthread_rwlock_t* lock) noexcept {
  static decltype(pthread_rwlock_unlock)* real;
  const int result = next(real, "pthread_rwlock_unlock")(lock);
  if (auto* const scheduler = Scheduler::ofThisThread()) {
    scheduler->release(lock, 'r');
  }
  return result;
}

EXPORTED int pthread_once(pthread_once_t* once, void (*routine)()) {
  static decltype(pthread_once)* real;
  auto* const scheduler = Scheduler::ofThisThread();
  if (scheduler != nullptr) {
    scheduler->acquire(once, 'o', Access::exclusive, true);
  }
  const int result = next(real, "pthread_once")(once, routine);
  if (scheduler != nullptr) {
    scheduler->release(once, 'o');
  }
  return result;
}

// Guards of static objects inside of functions: while one thread constructs the object, other threads wait for it.
EXPORTED int __cxa_guard_acquire(std::int64_t* guard) {
  static int (*real)(std::int64_t*);
  auto* const scheduler = Scheduler::ofThisThread();
  if (scheduler != nullptr) {
    scheduler->acquire(guard, 'g', Access::exclusive);
  }
  const int result = next(real, "__cxa_guard_acquire")(guard);
  if (scheduler != nullptr && result == 0) {
    scheduler->release(guard, 'g');
  }
  return result;
}

EXPORTED void __cxa_guard_release(std::int64_t* guard) noexcept {
  static void (*real)(std::int64_t*);
  next(real, "__cxa_guard_release")(guard);
  if (auto* const scheduler = Scheduler::ofThisThread()) {
    scheduler->release(guard, 'g');
  }
}

EXPORTED void __cxa_guard_abort(std::int64_t* guard) noexcept {
  static void (*real)(std::int64_t*);
  next(real, "__cxa_guard_abort")(guard);
  if (auto* const scheduler = Scheduler::ofThisThread()) {
    scheduler->release(guard, 'g');
  }
}

EXPORTED int pthread_create(pthread_t* handle, const pthread_attr_t* attributes, void* (*routine)(void*),
                            void* argument) noexcept {
  static decltype(pthread_create)* real;
  auto* const scheduler = Scheduler::ofThisThread();
  if (scheduler == nullptr) {
    return next(real, "pthread_create")(handle, attributes, routine, argument);
  }
  auto& thread = scheduler->addThread();
  auto* const start = new (std::malloc(sizeof(Start))) Start{*scheduler, thread, routine, argument};
  const int result = next(real, "pthread_create")(handle, attributes, runThread, start);
  if (result != 0) {
    scheduler->notStarted(thread);
    std::free(start);
  } else {
    scheduler->started(thread, *handle);
  }
  return result;
}

EXPORTED int pthread_join(pthread_t handle, void** result) {
  if (auto* const scheduler = Scheduler::ofThisThread()) {
    scheduler->join(handle);
  }
  static decltype(pthread_join)* real;
  return next(real, "pthread_join")(handle, result);
}

// All clocks show the virtual time.
EXPORTED int clock_gettime(clockid_t clock, timespec* time) noexcept {
  if (auto* const scheduler = Scheduler::ofThisThread()) {
    constexpr std::int64_t nanoseconds = 1'000'000'000;
    time->tv_sec = scheduler->now() / nanoseconds;
    time->tv_nsec = scheduler->now() % nanoseconds;
    return 0;
  }
  static decltype(clock_gettime)* real;
  return next(real, "clock_gettime")(clock, time);
}

}  // extern "C"

namespace {

void release(void* memory) noexcept {
  auto* const scheduler = memory != nullptr ? Scheduler::ofThisThread() : nullptr;
  if (scheduler != nullptr) {
    scheduler->keepReleased(memory, malloc_usable_size(memory));
  } else {
    std::free(memory);
  }
}

void* allocate(std::size_t size) {
  if (void* const memory = std::malloc(size != 0 ? size : 1)) {
    return memory;
  }
  throw std::bad_alloc();
}

}  // namespace

EXPORTED void* operator new(std::size_t size) {
  return allocate(size);
}
EXPORTED void* operator new[](std::size_t size) {
  return allocate(size);
}
EXPORTED void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return std::malloc(size != 0 ? size : 1);
}
EXPORTED void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return std::malloc(size != 0 ? size : 1);
}
EXPORTED void operator delete(void* memory) noexcept {
  release(memory);
}
EXPORTED void operator delete[](void* memory) noexcept {
  release(memory);
}
EXPORTED void operator delete(void* memory, std::size_t) noexcept {
  release(memory);
}
EXPORTED void operator delete[](void* memory, std::size_t) noexcept {
  release(memory);
}
EXPORTED void operator delete(void* memory, const std::nothrow_t&) noexcept {
  release(memory);
}
EXPORTED void operator delete[](void* memory, const std::nothrow_t&) noexcept {
  release(memory);
}
