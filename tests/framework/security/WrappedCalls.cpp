#include "WrappedCalls.hpp"

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <time.h>

namespace spf::test {

namespace {

std::vector<WipedMemory> wiped;
std::size_t opened = 0;
int openingError = 0;
long ahead = 0;

}  // namespace

std::vector<WipedMemory> takeWiped() {
  return std::exchange(wiped, {});
}

std::size_t takeOpened() {
  return std::exchange(opened, 0);
}

void failOpenings(int error) {
  openingError = error;
}

void setClockAhead(long seconds) {
  ahead = seconds;
}

}  // namespace spf::test

using namespace spf::test;

extern "C" {

[[gnu::visibility("default")]] void __wrap_explicit_bzero(void* memory, std::size_t size) {
  wiped.push_back({memory, std::string(static_cast<const char*>(memory), size)});
  std::memset(memory, 0, size);
}

// What optimised builds call instead.
[[gnu::visibility("default")]] void __wrap___explicit_bzero_chk(void* memory, std::size_t size, std::size_t) {
  __wrap_explicit_bzero(memory, size);
}

int __real_openat(int folder, const char* path, int flags, ...);
[[gnu::visibility("default")]] int __wrap_openat(int folder, const char* path, int flags, ...) {
  if (openingError != 0) {
    errno = openingError;
    return -1;
  }
  ++opened;
  return __real_openat(folder, path, flags);
}

int __real_clock_gettime(clockid_t clock, timespec* time);
[[gnu::visibility("default")]] int __wrap_clock_gettime(clockid_t clock, timespec* time) {
  const int result = __real_clock_gettime(clock, time);
  if (clock == CLOCK_REALTIME) {
    time->tv_sec += ahead;
  }
  return result;
}
}
