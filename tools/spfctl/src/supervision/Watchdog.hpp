#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/ServiceReference.h>

#include "agent/spf/frameworkinterfaces/HealthCheck.hpp"
#include "commands/Changes.hpp"

namespace spfctl {

/// Confirms that the host is alive as long as the bundles' threads do their work: at half of the interval, every
/// registered HealthCheck service is asked, and when all of them have answered, the next update confirms.
///
/// A service that does not answer stops the confirmations until it does. One that is unregistered and has dropped the
/// question is no longer waited for. One that throws, or drops the question while it is registered, is asked again
/// after half an interval. Where no service is registered, the update itself is the proof.
///
/// For one thread; the services answer on any thread, also after the destruction. Requires a running host for as long
/// as it lives.
class Watchdog {
 public:
  using Clock = std::chrono::steady_clock;

  /// \param interval  the time within which confirmations are expected
  /// \param confirm   confirms that the host is alive; called by `update`
  /// \param changes   notes answers until the destruction
  Watchdog(cppmicroservices::BundleContext context, std::chrono::microseconds interval, std::function<void()> confirm,
           Changes& changes);
  ~Watchdog();
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

  /// Asks the services if it is time to, and confirms if all have answered. Does not block. Call it after each change
  /// and at `nextDeadline`.
  void update(Clock::time_point now);

  /// Returns when `update` has to be called at the latest: at once before the first call.
  Clock::time_point nextDeadline() const { return nextRound_; }

  /// Returns the components that have not answered within half an interval, by the last update.
  std::vector<std::string> unanswered() const;

 private:
  using HealthCheck = agent::spf::frameworkinterfaces::HealthCheck;
  class Answer;
  class Question;
  class Wake;

  struct Check {
    cppmicroservices::ServiceReference<HealthCheck> service;
    std::shared_ptr<Answer> answer;
    bool isLate = false;

    bool isSettled() const;
  };

  void beginRound();
  void repeatRound();
  void ask(Check& check);
  bool areAllSettled() const;

  // Constant after construction:
  cppmicroservices::BundleContext context_;
  const std::chrono::microseconds period_;
  const std::function<void()> confirm_;
  const std::shared_ptr<Wake> wake_;

  // Used by the one thread:
  Clock::time_point nextRound_ = Clock::time_point::min();
  bool isAsking_ = false;  // a round is under way
  std::vector<Check> checks_;
};

}  // namespace spfctl
