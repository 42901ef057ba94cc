#pragma once

#include <cerrno>
#include <optional>
#include <system_error>
#include <vector>

#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>

namespace frameworktest {

/// Sets this process's limit of descriptors, and restores it at its destruction.
class DescriptorLimit {
 public:
  explicit DescriptorLimit(rlim_t soft) {
    getrlimit(RLIMIT_NOFILE, &before_);
    const rlimit limit{soft, before_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &limit);
  }
  ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &before_); }
  DescriptorLimit(const DescriptorLimit&) = delete;
  DescriptorLimit& operator=(const DescriptorLimit&) = delete;

 private:
  rlimit before_{};
};

/// Lets no descriptor be opened for a while. Has to be constructed before what the test is about, since it occupies the
/// lowest descriptors: those that are closed meanwhile are beyond the limit.
class DescriptorShortage {
 public:
  DescriptorShortage() {
    while (occupied_.empty() || occupied_.back() + 1 < limit) {
      occupied_.push_back(eventfd(0, EFD_CLOEXEC));
      if (occupied_.back() < 0) {
        throw std::system_error(errno, std::generic_category(), "cannot open a descriptor");
      }
    }
  }
  ~DescriptorShortage() {
    end();
    for (const int descriptor : occupied_) {
      close(descriptor);
    }
  }
  DescriptorShortage(const DescriptorShortage&) = delete;
  DescriptorShortage& operator=(const DescriptorShortage&) = delete;

  void begin() { limit_.emplace(limit); }
  void end() { limit_.reset(); }

  /// The reason that is reported meanwhile.
  static constexpr auto reason = "the process has reached its limit of 64 open files (ulimit -n)";

 private:
  // Not the lowest possible: the system lets nobody wait for more descriptors than the limit allows.
  static constexpr int limit = 64;

  std::vector<int> occupied_;
  std::optional<DescriptorLimit> limit_;
};

}  // namespace frameworktest
