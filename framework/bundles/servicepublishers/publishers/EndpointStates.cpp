#include "EndpointStates.hpp"

namespace spf::publishers {

using agent::spf::frameworksupport::SerialExecutor;

std::vector<EndpointState> EndpointStates::list() const {
  std::vector<EndpointState> all;
  const std::lock_guard<std::mutex> lock(mutex_);
  for (const auto& [pid, records] : records_) {
    for (const auto& [position, states] : records) {
      all.insert(all.end(), states.begin(), states.end());
    }
  }
  return all;
}

EndpointStates::ListenerID EndpointStates::addListener(std::function<void()> listener) {
  auto added = std::make_shared<const std::function<void()>>(std::move(listener));
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!isStopped_) {
    if (!executor_) {
      executor_ = std::make_shared<SerialExecutor>();
    }
    listeners_.emplace(lastListener_ + 1, std::move(added));
  }
  return ++lastListener_;
}

void EndpointStates::removeListener(ListenerID listener) {
  Listener removed;  // destroyed last, outside of the lock
  std::unique_lock<std::mutex> lock(mutex_);
  const auto found = listeners_.find(listener);
  if (found != listeners_.end()) {
    removed = std::move(found->second);
    listeners_.erase(found);
  }
  if (running_ == listener && caller_ != std::this_thread::get_id()) {
    changed_.wait(lock, [&] { return running_ != listener; });
  }
}

void EndpointStates::replace(const std::string& pid, Records records) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (isStopped_) {
      return;
    }
    if (records.empty()) {
      records_.erase(pid);
    } else {
      records_[pid].swap(records);
    }
  }
  requestCalls();
}

void EndpointStates::update(const std::string& pid, Records changed) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (isStopped_) {
      return;
    }
    Records& records = records_[pid];
    for (auto& [position, states] : changed) {
      records[position].swap(states);
    }
  }
  requestCalls();
}

void EndpointStates::stop() {
  std::map<ListenerID, Listener> removed;  // destroyed outside of the lock
  std::shared_ptr<SerialExecutor> executor;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    isStopped_ = true;
    records_.clear();
    listeners_.swap(removed);
    executor = executor_;
  }
  if (executor) {
    executor->stop();
  }
}

void EndpointStates::requestCalls() {
  std::shared_ptr<SerialExecutor> executor;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (areCallsRequested_ || listeners_.empty()) {
      return;
    }
    areCallsRequested_ = true;
    executor = executor_;
  }
  executor->post([self = shared_from_this()] { self->callListeners(); });
}

void EndpointStates::callListeners() {
  std::unique_lock<std::mutex> lock(mutex_);
  areCallsRequested_ = false;
  caller_ = std::this_thread::get_id();
  // Listeners may be added and removed during a call, so the position is looked up again after each.
  for (auto next = listeners_.begin(); next != listeners_.end();) {
    const ListenerID id = next->first;
    running_ = id;
    Listener listener = next->second;
    lock.unlock();
    try {
      (*listener)();
    } catch (...) {
      // An exception of one listener must not affect the others.
    }
    listener.reset();
    lock.lock();
    running_ = 0;
    changed_.notify_all();
    next = listeners_.upper_bound(id);
  }
}

}  // namespace spf::publishers
