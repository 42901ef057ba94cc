#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "agent/spf/frameworkinterfaces/EndpointStatus.hpp"
#include "agent/spf/frameworksupport/SerialExecutor.hpp"

namespace spf::publishers {

using agent::spf::frameworkinterfaces::EndpointState;
using Direction = EndpointState::Direction;

/// The records of all publishers' endpoints, and the service that shows them. The executor's thread writes them; any
/// thread may call any member.
///
/// Listeners are called on a thread of their own, which the first one starts, so that a slow one delays no publisher.
/// Owned by shared pointers, since a listener may drop all others.
class EndpointStates : public agent::spf::frameworkinterfaces::EndpointStatus,
                       public std::enable_shared_from_this<EndpointStates> {
 public:
  /// A place in a publisher's configuration: the list, and the index in it.
  using Position = std::pair<Direction, std::size_t>;

  /// The records of some of a publisher's endpoints.
  using Records = std::map<Position, std::vector<EndpointState>>;

  /// Stops, as `stop` does.
  ~EndpointStates() override { stop(); }

  std::vector<EndpointState> list() const override;
  ListenerID addListener(std::function<void()> listener) override;
  void removeListener(ListenerID listener) override;

  /// Sets all records of a publisher, by the PID of its factory configuration.
  void replace(const std::string& pid, Records records);

  /// Replaces those records of a publisher that have a new state.
  void update(const std::string& pid, Records changed);

  /// Removes all records and listeners, and ends the thread once the running call has returned. May be called by a
  /// listener; then it returns at once.
  void stop();

 private:
  using Listener = std::shared_ptr<const std::function<void()>>;

  void requestCalls();
  void callListeners();

  mutable std::mutex mutex_;
  std::condition_variable changed_;

  // Guarded by `mutex_`:
  std::map<std::string, Records> records_;
  std::map<ListenerID, Listener> listeners_;
  ListenerID lastListener_ = 0;
  ListenerID running_ = 0;  ///< the listener that is being called; 0 if none is
  std::thread::id caller_;  ///< the thread that calls it
  bool areCallsRequested_ = false;
  bool isStopped_ = false;
  std::shared_ptr<agent::spf::frameworksupport::SerialExecutor> executor_;  ///< null before the first listener
};

}  // namespace spf::publishers
