#pragma once

#include <cstdint>
#include <future>

#include "cppmicroservices/FrameworkExport.h"

namespace cppmicroservices {

using ActualTask = std::packaged_task<void(bool)>;
using PostTask = std::packaged_task<void()>;

/// A future that may be waited for also by the threads that run the tasks, since a wait runs a task itself
/// that nobody has begun. Such a wait therefore may run foreign code: hold no lock meanwhile.
class US_Framework_EXPORT ThreadpoolSafeFuture {
 public:
  ThreadpoolSafeFuture(const ThreadpoolSafeFuture& other) = default;
  ThreadpoolSafeFuture& operator=(const ThreadpoolSafeFuture& other) = default;
  ThreadpoolSafeFuture(ThreadpoolSafeFuture&& other) noexcept;
  ThreadpoolSafeFuture& operator=(ThreadpoolSafeFuture&& other) noexcept = default;
  virtual ~ThreadpoolSafeFuture();

  bool operator==(const ThreadpoolSafeFuture&) const = delete;
  bool operator!=(const ThreadpoolSafeFuture&) const = delete;
  bool operator<(const ThreadpoolSafeFuture&) const = delete;

  /// Waits for the end of the task and throws what it threw.
  virtual void get() const = 0;
  virtual void wait() const = 0;
  virtual std::future_status wait_for(const std::uint32_t& timeoutMilliseconds) const = 0;

 protected:
  ThreadpoolSafeFuture();
};

}  // namespace cppmicroservices
