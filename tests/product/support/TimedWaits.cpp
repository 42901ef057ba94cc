#include "TimedWaits.hpp"

#include <dlfcn.h>

#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

namespace {

thread_local int timedWaits = 0;
thread_local spf::test::ScriptedTimedWaits* scripted = nullptr;

using ClockWait = int (*)(pthread_cond_t*, pthread_mutex_t*, clockid_t, const timespec*);

}  // namespace

// What waiting on a condition variable until a time of the steady clock comes down to. Comes before
// the C library's own, and before that of a sanitizer, when the program is linked.
extern "C" __attribute__((visibility("default"))) int pthread_cond_clockwait(pthread_cond_t* condition,
                                                                             pthread_mutex_t* mutex, clockid_t clock,
                                                                             const timespec* deadline) {
  static const auto original = reinterpret_cast<ClockWait>(dlsym(RTLD_NEXT, "pthread_cond_clockwait"));
  ++timedWaits;
  return scripted != nullptr ? scripted->wait(mutex, *deadline) : original(condition, mutex, clock, deadline);
}

namespace spf::test {

int timedWaitsFromThisThread() {
  return timedWaits;
}

ScriptedTimedWaits::ScriptedTimedWaits(std::function<End()> script) : script_(std::move(script)) {
  scripted = this;
}

ScriptedTimedWaits::~ScriptedTimedWaits() {
  scripted = nullptr;
}

int ScriptedTimedWaits::wait(pthread_mutex_t* mutex, const timespec& deadline) {
  using std::chrono::steady_clock;
  deadline_ =
      steady_clock::time_point(std::chrono::seconds(deadline.tv_sec) + std::chrono::nanoseconds(deadline.tv_nsec));
  pthread_mutex_unlock(mutex);
  const bool timeOut = script_() == End::timeOut;
  while (timeOut && steady_clock::now() < deadline_) {
    std::this_thread::yield();
  }
  pthread_mutex_lock(mutex);
  return timeOut ? ETIMEDOUT : 0;
}

}  // namespace spf::test
