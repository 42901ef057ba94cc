#pragma once

#include <cstdint>
#include <future>

#include "cppmicroservices/FrameworkExport.h"

namespace cppmicroservices {

using ActualTask = std::packaged_task<void(bool)>;
using PostTask = std::packaged_task<void()>;

/// A future that the threads that run the tasks may wait for, too: the wait itself runs a task that has not begun. It
/// may therefore run foreign code, so hold no lock while you wait.
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

  /// Blocks until the task has ended, and rethrows its exception.
  virtual void get() const = 0;
  virtual void wait() const = 0;
  virtual std::future_status wait_for(const std::uint32_t& timeoutMilliseconds) const = 0;

 protected:
  ThreadpoolSafeFuture();
};

}  // namespace cppmicroservices
