#pragma once

#include <cstdint>
#include <mutex>
#include <ostream>

namespace cppmicroservices {

/// The log of one framework: lines on a stream, if the log is enabled. Any thread may use it.
class FrameworkLog {
 public:
  FrameworkLog(bool enabled, std::uint64_t frameworkId, std::ostream& stream)
      : enabled_(enabled), frameworkId_(frameworkId), stream_(stream) {}

  /// Writes one line about an event, or with a message.
  template <class Entry>
  void write(const Entry& entry) {
    if (enabled_) {
      const std::lock_guard<std::mutex> lock(mutex_);
      stream_ << "framework " << frameworkId_ << ": " << entry << std::endl;
    }
  }

 private:
  // Constant after construction:
  const bool enabled_;
  const std::uint64_t frameworkId_;

  std::mutex mutex_;
  // Guarded by `mutex_`:
  std::ostream& stream_;
};

}  // namespace cppmicroservices
