#include "TimedWaits.hpp"

#include <dlfcn.h>
#include <pthread.h>

namespace {

thread_local int timedWaits = 0;

using ClockWait = int (*)(pthread_cond_t*, pthread_mutex_t*, clockid_t, const timespec*);

}  // namespace

// What waiting on a condition variable until a time of the steady clock comes down to. Comes before
// the C library's own, and before that of a sanitizer, when the program is linked.
extern "C" __attribute__((visibility("default"))) int pthread_cond_clockwait(pthread_cond_t* condition,
                                                                             pthread_mutex_t* mutex, clockid_t clock,
                                                                             const timespec* deadline) {
  static const auto original = reinterpret_cast<ClockWait>(dlsym(RTLD_NEXT, "pthread_cond_clockwait"));
  ++timedWaits;
  return original(condition, mutex, clock, deadline);
}

namespace spf::test {

int timedWaitsFromThisThread() {
  return timedWaits;
}

}  // namespace spf::test
