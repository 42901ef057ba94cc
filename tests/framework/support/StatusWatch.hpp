#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "agent/spf/frameworkinterfaces/EndpointStatus.hpp"
#include "spf/test/Gate.hpp"

namespace agent::spf::frameworkinterfaces {

inline std::string phaseOf(const EndpointState& state) {
  static const char* const names[] = {"unresolved", "opening", "up", "lost", "refused"};
  return names[static_cast<int>(state.phase)];
}

inline std::string toText(const EndpointState& state) {
  return state.servicePublisherID + "#" + std::to_string(state.modificationCount) +
         (state.direction == EndpointState::Direction::bind ? " bind " : " connect ") + state.endpoint + " " +
         phaseOf(state) + " '" + state.address + "' after " + std::to_string(state.tries) + " tries: " + state.reason +
         (state.refusedHandshakes == 0
              ? ""
              : ", refused " + std::to_string(state.refusedHandshakes) + ": " + state.lastRefusal);
}

inline void PrintTo(const EndpointState& state, std::ostream* out) {
  *out << toText(state);
}

}  // namespace agent::spf::frameworkinterfaces

namespace frameworktest {

/// Waits for states of endpoints.
class StatusWatch {
 public:
  using State = agent::spf::frameworkinterfaces::EndpointState;
  using Phase = State::Phase;
  using Status = agent::spf::frameworkinterfaces::EndpointStatus;

  explicit StatusWatch(std::shared_ptr<Status> status)
      : status_(std::move(status)), listener_(status_->addListener([this] { onChange(); })) {}
  ~StatusWatch() { status_->removeListener(listener_); }

  StatusWatch(const StatusWatch&) = delete;
  StatusWatch& operator=(const StatusWatch&) = delete;

  /// Returns the records of a publisher.
  std::vector<State> of(const std::string& publisher) const {
    std::vector<State> found;
    for (State& state : status_->list()) {
      if (state.servicePublisherID == publisher) {
        found.push_back(std::move(state));
      }
    }
    return found;
  }

  /// Waits until the records of a publisher fulfil a condition.
  /// \return false after the time-out of the tests
  [[nodiscard]] bool waitForAll(const std::string& publisher,
                                const std::function<bool(const std::vector<State>&)>& condition) {
    return waitUntil([&] { return condition(of(publisher)); });
  }

  /// Waits until the records of all publishers fulfil a condition.
  /// \return false after the time-out of the tests
  [[nodiscard]] bool waitForList(const std::function<bool(const std::vector<State>&)>& condition) {
    return waitUntil([&] { return condition(status_->list()); });
  }

  /// Waits until the only record of a publisher fulfils a condition.
  /// \return that record; after the time-out of the tests the last one, with an appended reason
  State waitFor(const std::string& publisher, const std::function<bool(const State&)>& condition) {
    State last{};
    const bool fulfilled = waitForAll(publisher, [&](const std::vector<State>& states) {
      if (states.size() == 1) {
        last = states.front();
      }
      return states.size() == 1 && condition(states.front());
    });
    if (!fulfilled) {
      last.reason += " (the awaited state does not come)";
    }
    return last;
  }

  /// Waits until the only record of a publisher is in a phase.
  State waitFor(const std::string& publisher, Phase phase) {
    return waitFor(publisher, [phase](const State& state) { return state.phase == phase; });
  }

  /// Waits until the only record of a publisher is in a phase, for a reason.
  State waitFor(const std::string& publisher, Phase phase, const std::string& reason) {
    return waitFor(publisher, [&](const State& state) { return state.phase == phase && state.reason == reason; });
  }

 private:
  bool waitUntil(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + spf::test::patience;
    for (;;) {
      const int seen = changes();
      if (condition()) {
        return true;
      }
      std::unique_lock<std::mutex> lock(mutex_);
      if (!changed_.wait_until(lock, deadline, [&] { return changes_ != seen; })) {
        return false;
      }
    }
  }

  void onChange() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      ++changes_;
    }
    changed_.notify_all();
  }

  int changes() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return changes_;
  }

  mutable std::mutex mutex_;
  std::condition_variable changed_;

  // Guarded by `mutex_`:
  int changes_ = 0;

  // Constant after construction:
  const std::shared_ptr<Status> status_;
  const Status::ListenerID listener_;
};

}  // namespace frameworktest
