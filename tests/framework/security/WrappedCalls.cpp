#include "WrappedCalls.hpp"

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <time.h>
#include <unistd.h>

namespace spf::test {

namespace {

std::vector<WipedMemory> wiped;
std::size_t opened = 0;
int openingError = 0;
int folderError = 0;
int listingError = 0;
int readingError = 0;
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

void failFolders(int error) {
  folderError = error;
}

void failListings(int error) {
  listingError = error;
}

void failReadings(int error) {
  readingError = error;
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

int __real_open(const char* path, int flags, ...);
[[gnu::visibility("default")]] int __wrap_open(const char* path, int flags, ...) {
  if (folderError != 0 && (flags & O_DIRECTORY) != 0) {
    errno = folderError;
    return -1;
  }
  va_list more;
  va_start(more, flags);
  const auto mode = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
  va_end(more);
  return __real_open(path, flags, mode);
}

dirent* __real_readdir(DIR* folder);
[[gnu::visibility("default")]] dirent* __wrap_readdir(DIR* folder) {
  if (listingError != 0) {
    errno = listingError;
    return nullptr;
  }
  return __real_readdir(folder);
}

ssize_t __real_read(int descriptor, void* memory, std::size_t size);
[[gnu::visibility("default")]] ssize_t __wrap_read(int descriptor, void* memory, std::size_t size) {
  if (readingError != 0) {
    errno = readingError;
    return -1;
  }
  return __real_read(descriptor, memory, size);
}

// What optimised builds call instead.
[[gnu::visibility("default")]] ssize_t __wrap___read_chk(int descriptor, void* memory, std::size_t size, std::size_t) {
  return __wrap_read(descriptor, memory, size);
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
