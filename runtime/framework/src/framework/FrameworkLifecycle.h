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

/// Takes one framework through its states, which are kept in its system bundle. Any thread may use it.
class FrameworkLifecycle {
 public:
  explicit FrameworkLifecycle(FrameworkCore& framework);
  ~FrameworkLifecycle();

  /// \throws std::runtime_error while the framework is stopping, or if a bundle in the program's file is broken
  void init();
  void start();

  /// Begins to stop the framework on a thread of its own, which keeps the framework alive.
  void stop();

  /// See Framework::WaitForStop.
  FrameworkEvent waitForStop(std::chrono::milliseconds timeout);

 private:
  using Lock = std::unique_lock<std::mutex>;

  void runStop();
  void stopBundle(const std::shared_ptr<BundlePrivate>& bundle);
  void finishStop();
  bool stopped() const;
  bool awaitStop(Lock& lock, std::chrono::milliseconds timeout);
  void noticeSlowStop(Lock& lock);
  FrameworkEvent answer(FrameworkEvent::Type type, const std::string& message = std::string()) const;

  FrameworkCore& framework_;

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  // guarded by mutex_, as is every change of the system bundle's state
  std::thread stopThread_;
  std::thread::id stoppingOn_;
  std::shared_ptr<BundlePrivate> stoppingBundle_;
  std::uint64_t stops_ = 0;  // how often the framework came to a stop
};

}  // namespace cppmicroservices
