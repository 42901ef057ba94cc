#pragma once

#include <cstddef>
#include <cstdint>
#include <future>

namespace cppmicroservices {

/// The result of work that a service does later, which even the service's own thread may wait for:
/// that thread does the outstanding work itself meanwhile.
class [[gnu::visibility("default")]] ThreadpoolSafeFuture {
 public:
  virtual ~ThreadpoolSafeFuture() = default;

  /// Waits for the work. \throws what the work threw
  virtual void get() const = 0;
  virtual void wait() const = 0;

  /// \param milliseconds  how long to wait at most
  virtual std::future_status wait_for(std::uint32_t const& milliseconds) const = 0;

 protected:
  ThreadpoolSafeFuture() = default;
  ThreadpoolSafeFuture(ThreadpoolSafeFuture const&) = default;
  ThreadpoolSafeFuture& operator=(ThreadpoolSafeFuture const&) = default;
};

}  // namespace cppmicroservices
