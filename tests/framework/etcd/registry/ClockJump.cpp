#include "ClockJump.hpp"

#include <atomic>
#include <ctime>

#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

std::atomic<long> jump{0};

long read(clockid_t clock, timespec* time) {
  const auto result = syscall(SYS_clock_gettime, clock, time);
  if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) {
    time->tv_sec += jump;
  }
  return result;
}

}  // namespace

// In the place of the C library's.
extern "C" {

int clock_gettime(clockid_t clock, timespec* time) noexcept {
  return static_cast<int>(read(clock, time));
}

int gettimeofday(timeval* time, void* /*zone*/) noexcept {
  timespec now{};
  const auto result = read(CLOCK_REALTIME, &now);
  time->tv_sec = now.tv_sec;
  time->tv_usec = now.tv_nsec / 1000;
  return static_cast<int>(result);
}

time_t time(time_t* result) noexcept {
  timespec now{};
  read(CLOCK_REALTIME, &now);
  if (result != nullptr) {
    *result = now.tv_sec;
  }
  return now.tv_sec;
}
}

namespace etcdtest {

ClockJump::ClockJump(std::chrono::seconds by) {
  jump = by.count();
}

ClockJump::~ClockJump() {
  jump = 0;
}

}  // namespace etcdtest
