#pragma once

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <sys/resource.h>
#include <unistd.h>

namespace frameworktest {

/// Returns the number of open file descriptors of this process.
inline std::ptrdiff_t openDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

/// Whether freed memory is reused at once; the sanitizers delay that.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool reusesMemory = false;
#else
inline constexpr bool reusesMemory = true;
#endif

/// Returns the resident memory of this process in MiB.
inline std::size_t residentMemory() {
  std::size_t total = 0;
  std::size_t resident = 0;
  std::ifstream("/proc/self/statm") >> total >> resident;
  return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE)) / (1024 * 1024);
}

/// Raises the soft limit of descriptors to the hard one.
/// \return the limit
inline rlim_t raiseDescriptorLimit() {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
  return limit.rlim_cur;
}

}  // namespace frameworktest
