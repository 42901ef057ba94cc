#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>

#include "cppmicroservices/FrameworkEvent.h"

namespace cppmicroservices {

class BundlePrivate;
class FrameworkCore;

/// Changes the states of one framework, which its system bundle holds. Any thread may use it.
class FrameworkLifecycle {
 public:
  explicit FrameworkLifecycle(FrameworkCore& framework);
  ~FrameworkLifecycle();

  /// Initialises the framework, see Framework::Init.
  /// \throws std::runtime_error while the framework is stopping, or if a bundle in the program's file is broken
  void init();
  /// Initialises the framework unless that has happened, and makes it active.
  void start();

  /// Begins to stop the framework on a thread of its own, which keeps the framework alive.
  void stop();

  /// Waits for the end of a stop, see Framework::WaitForStop.
  FrameworkEvent waitForStop(std::chrono::milliseconds timeout);

 private:
  using Lock = std::unique_lock<std::mutex>;

  void runStop();
  void stopBundle(const std::shared_ptr<BundlePrivate>& bundle);
  void finishStop();
  bool isStopped() const;
  bool awaitStop(Lock& lock, std::chrono::milliseconds timeout);
  void logSlowStop(Lock& lock);
  FrameworkEvent makeEvent(FrameworkEvent::Type type, const std::string& message = std::string()) const;

  FrameworkCore& framework_;

  mutable std::mutex mutex_;  // held during every change of the system bundle's state, too
  std::condition_variable changed_;
  // Guarded by `mutex_`:
  std::thread stopThread_;
  std::thread::id stoppingOn_;
  std::shared_ptr<BundlePrivate> stoppingBundle_;
  std::uint64_t stops_ = 0;  // number of completed stops
};

}  // namespace cppmicroservices
