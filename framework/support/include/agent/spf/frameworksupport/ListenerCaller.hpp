#pragma once

#include <memory>
#include <mutex>
#include <utility>

#include <cppmicroservices/BundleContext.h>
#include "agent/spf/frameworksupport/SerialExecutor.hpp"
#include "agent/spf/frameworksupport/findService.hpp"

namespace agent::spf::frameworksupport {

/// Calls every registered service of a listener's class after changes, on a thread of its own and with no lock held.
/// One call may stand for several changes; exceptions of listeners are swallowed.
///
/// Any thread may call any member, also with locks held; only `stop` blocks.
template <class Listener>
class ListenerCaller {
 public:
  /// Starts the thread.
  /// \param context  finds the listeners
  /// \param call     the listener's member function
  ListenerCaller(cppmicroservices::BundleContext context, void (Listener::*call)())
      : calls_(std::make_shared<Calls>(std::move(context), call)) {}

  /// Stops, as `stop` does.
  ~ListenerCaller() { stop(); }

  ListenerCaller(const ListenerCaller&) = delete;
  ListenerCaller& operator=(const ListenerCaller&) = delete;

  /// Lets every listener be called once more. Does nothing after `stop`.
  /// \throws std::bad_alloc if no memory is left; the call has to be requested anew then
  void request() {
    if (!calls_->request()) {
      return;
    }
    try {
      executor_.post([calls = calls_] { calls->make(); });
    } catch (...) {
      calls_->withdrawRequest();
      throw;
    }
  }

  /// Blocks until the requested calls have returned, and ends the thread. May be repeated, and called by a listener;
  /// then it returns at once.
  void stop() { executor_.stop(); }

 private:
  /// The state that the thread uses. It may outlive the caller.
  class Calls {
   public:
    Calls(cppmicroservices::BundleContext context, void (Listener::*call)())
        : context_(std::move(context)), call_(call) {}

    /// \return false if calls that were requested before have not begun yet
    bool request() {
      const std::lock_guard<std::mutex> lock(mutex_);
      return !std::exchange(isRequested_, true);
    }

    void withdrawRequest() {
      const std::lock_guard<std::mutex> lock(mutex_);
      isRequested_ = false;
    }

    void make() {
      withdrawRequest();
      for (const auto& listener : findServices<Listener>(context_)) {
        try {
          (listener.get()->*call_)();
        } catch (...) {
          // An exception of one listener must not affect the others.
        }
      }
    }

   private:
    const cppmicroservices::BundleContext context_;
    void (Listener::*const call_)();

    std::mutex mutex_;

    // Guarded by `mutex_`:
    bool isRequested_ = false;
  };

  const std::shared_ptr<Calls> calls_;
  SerialExecutor executor_;
};

}  // namespace agent::spf::frameworksupport
