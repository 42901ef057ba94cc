#include "framework/FrameworkLifecycle.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

#include "bundles/BundlePrivate.h"
#include "framework/FrameworkCore.h"

namespace cppmicroservices {

namespace {

using Clock = std::chrono::steady_clock;

/// The interval at which a thread that waits for a slow stop logs the bundle that the stop waits for.
constexpr std::chrono::seconds noticePeriod(2);

/// Returns the deadline of a wait; zero stands for no limit.
Clock::time_point deadlineAfter(std::chrono::milliseconds timeout) {
  const auto now = Clock::now();
  const auto longest = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::time_point::max() - now);
  return timeout == timeout.zero() || timeout > longest ? Clock::time_point::max() : now + timeout;
}

/// Joins a thread that is about to end, or detaches it if it is the calling one.
void release(std::thread thread) {
  if (!thread.joinable()) {
    return;
  }
  if (thread.get_id() == std::this_thread::get_id()) {
    thread.detach();
  } else {
    thread.join();
  }
}

}  // namespace

FrameworkLifecycle::FrameworkLifecycle(FrameworkCore& framework) : framework_(framework) {}

FrameworkLifecycle::~FrameworkLifecycle() {
  release(std::move(stopThread_));
}

bool FrameworkLifecycle::isStopped() const {
  const auto state = framework_.systemBundle()->state.load();
  return state == Bundle::STATE_INSTALLED || state == Bundle::STATE_RESOLVED;
}

void FrameworkLifecycle::init() {
  // The services that remained before a restart are ended without a lock.
  ServiceRegistry::Records leftovers;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    auto& system = *framework_.systemBundle();
    if (system.state == Bundle::STATE_STOPPING) {
      throw std::runtime_error("The framework cannot be started: it is just being stopped");
    }
    if (!isStopped()) {
      return;
    }
    leftovers = framework_.services.reset();
    framework_.bundles.reset(framework_.systemBundle());
    system.openContext();
    system.state = Bundle::STATE_STARTING;
  }
  for (const auto& service : leftovers) {
    service->end();
  }
  framework_.installer.installProgram(framework_.systemBundle());
}

void FrameworkLifecycle::start() {
  init();
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    auto& state = framework_.systemBundle()->state;
    if (state != Bundle::STATE_STARTING) {
      return;
    }
    state = Bundle::STATE_ACTIVE;
  }
  framework_.listeners.framework.report(FrameworkEvent::FRAMEWORK_STARTED, framework_.systemBundle(), std::string());
}

void FrameworkLifecycle::stop() {
  std::thread former;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    auto& state = framework_.systemBundle()->state;
    if (isStopped()) {
      stops_ += stops_ == 0 ? 1 : 0;
      return;
    }
    if (state == Bundle::STATE_STOPPING) {
      return;
    }
    std::thread thread([framework = framework_.shared_from_this()] { framework->lifecycle.runStop(); });
    stoppingOn_ = thread.get_id();
    state = Bundle::STATE_STOPPING;
    former = std::exchange(stopThread_, std::move(thread));
  }
  release(std::move(former));
}

void FrameworkLifecycle::runStop() {
  {
    const std::lock_guard<std::mutex> begun(mutex_);  // waits until stop() has noted this thread
  }
  framework_.listeners.bundles.notifyAnyway(BundleEvent::BUNDLE_STOPPING, framework_.systemBundle());
  const auto bundles = framework_.bundles.all();
  for (auto bundle = bundles.rbegin(); bundle != bundles.rend(); ++bundle) {
    if ((*bundle)->id != systemBundleId) {
      stopBundle(*bundle);
    }
  }
  finishStop();
}

void FrameworkLifecycle::stopBundle(const std::shared_ptr<BundlePrivate>& bundle) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    stoppingBundle_ = bundle;
  }
  try {
    framework_.bundleLifecycle.stopForGood(bundle);
  } catch (...) {
    framework_.listeners.framework.report(FrameworkEvent::FRAMEWORK_ERROR, bundle,
                                          "Bundle failed to stop with its framework", std::current_exception());
  }
}

void FrameworkLifecycle::finishStop() {
  auto& system = *framework_.systemBundle();
  const auto context = system.context();
  framework_.listeners.removeAllOf(*context);
  system.closeContext();
  framework_.listeners.removeAllOf(*context);  // those that were added in between
  framework_.services.endAbandoned();
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    system.state = Bundle::STATE_RESOLVED;
    stoppingOn_ = std::thread::id();
    stoppingBundle_.reset();
    ++stops_;
  }
  changed_.notify_all();
}

bool FrameworkLifecycle::awaitStop(Lock& lock, std::chrono::milliseconds timeout) {
  const auto happened = [this, before = stops_] { return stops_ != before; };
  const auto deadline = deadlineAfter(timeout);
  while (!changed_.wait_until(lock, std::min(deadline, Clock::now() + noticePeriod), happened)) {
    if (Clock::now() >= deadline) {
      return false;
    }
    logSlowStop(lock);
  }
  return true;
}

void FrameworkLifecycle::logSlowStop(Lock& lock) {
  const auto bundle = stoppingBundle_ ? stoppingBundle_ : framework_.systemBundle();
  lock.unlock();
  framework_.log.write(FrameworkEvent(FrameworkEvent::FRAMEWORK_INFO, framework_.handles.of(bundle),
                                      "The framework's stop still waits for this bundle to stop"));
  lock.lock();
}

FrameworkEvent FrameworkLifecycle::waitForStop(std::chrono::milliseconds timeout) {
  std::thread ended;
  bool neverStarted = false;
  {
    Lock lock(mutex_);
    if (stoppingOn_ == std::this_thread::get_id()) {
      return makeEvent(FrameworkEvent::FRAMEWORK_ERROR, "The thread that stops the framework cannot wait for that");
    }
    neverStarted = isStopped() && stops_ == 0;
    if (!isStopped() && !awaitStop(lock, timeout)) {
      return makeEvent(FrameworkEvent::FRAMEWORK_WAIT_TIMEDOUT);
    }
    if (isStopped()) {
      ended = std::move(stopThread_);
    }
  }
  release(std::move(ended));
  if (const auto& extraShutdown = framework_.properties.extraShutdown()) {
    extraShutdown();
  }
  return neverStarted ? makeEvent(FrameworkEvent::FRAMEWORK_ERROR, "The framework was never started")
                      : makeEvent(FrameworkEvent::FRAMEWORK_STOPPED);
}

FrameworkEvent FrameworkLifecycle::makeEvent(FrameworkEvent::Type type, const std::string& message) const {
  return FrameworkEvent(type, framework_.handles.of(framework_.systemBundle()), message);
}

}  // namespace cppmicroservices
