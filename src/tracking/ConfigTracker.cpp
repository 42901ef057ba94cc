#include "tracking/ConfigTracker.hpp"

#include <algorithm>

#include "setup/diagnosticLog.hpp"
#include "tracking/EndpointEquality.hpp"
#include "tracking/deadlineAfter.hpp"

namespace agent::spf::frameworksetup {

using cppmicroservices::Any;

namespace {

// Notifies at the end of a scope if `notify` is set. Declared before the lock, so that the lock is released
// by then, and also when the scope is left by an exception.
class NotifyAtEnd {
 public:
  explicit NotifyAtEnd(std::condition_variable& condition) : condition_(condition) {}
  ~NotifyAtEnd() {
    if (notify) {
      condition_.notify_all();
    }
  }
  NotifyAtEnd(const NotifyAtEnd&) = delete;
  NotifyAtEnd& operator=(const NotifyAtEnd&) = delete;

  bool notify = false;

 private:
  std::condition_variable& condition_;
};

}  // namespace

ConfigTracker::ConfigTracker(std::vector<Any>&& toBind, std::vector<Any>&& toConnect, bool isRpc)
    : endpointsToBindTo(std::move(toBind)),
      endpointsToConnectTo(std::move(toConnect)),
      isRpcServicePublisher(isRpc),
      marks(std::max(endpointsToBindTo.size(), endpointsToConnectTo.size())) {}

bool ConfigTracker::completeEndpointBind(const Any& endpoint) {
  return completeEndpoint(endpointsToBindTo, endpoint, "ConfigTracker completeEndpointBind ");
}

bool ConfigTracker::completeEndpointConnect(const Any& endpoint) {
  return completeEndpoint(endpointsToConnectTo, endpoint, "ConfigTracker completeEndpointConnect ");
}

bool ConfigTracker::completeEndpoint(std::vector<Any>& outstanding, const Any& endpoint, const char* message) {
  NotifyAtEnd waiters(stateChanged);
  const std::lock_guard<std::mutex> lock(mutex);
  if (isComplete()) {
    return true;
  }
  if (!removeEqual(outstanding, endpoint)) {
    return false;
  }
  // Decided before the log record is written, which can throw: no waiter may sleep on a condition that holds.
  waiters.notify = allEndpointsComplete();
  logProgress(message, endpoint);
  return isComplete();
}

// Compares with all before it removes any: a comparison that throws leaves the list as it was.
bool ConfigTracker::removeEqual(std::vector<Any>& outstanding, const Any& endpoint) {
  const auto marksEnd =
      std::transform(outstanding.begin(), outstanding.end(), marks.begin(), EndpointEquality(endpoint));
  const auto firstMark = std::find(marks.begin(), marksEnd, true);
  if (firstMark == marksEnd) {
    return false;
  }
  auto mark = firstMark;
  const auto firstEqual = outstanding.begin() + (firstMark - marks.begin());
  outstanding.erase(std::remove_if(firstEqual, outstanding.end(), [&](const Any&) { return *mark++; }),
                    outstanding.end());
  return true;
}

bool ConfigTracker::completeAllServicesPublished() {
  NotifyAtEnd waiters(stateChanged);
  const std::lock_guard<std::mutex> lock(mutex);
  if (isComplete()) {
    return true;
  }
  if (allServicesPublished) {
    return false;
  }
  logProgress("ConfigTracker completeAllServicesPublished");
  allServicesPublished = true;
  waiters.notify = true;
  return isComplete();
}

void ConfigTracker::completeAllServicesUnpublished() {
  NotifyAtEnd waiters(stateChanged);
  const std::lock_guard<std::mutex> lock(mutex);
  waiters.notify = !allServicesUnpublished;
  allServicesUnpublished = true;
}

void ConfigTracker::setError(const std::exception_ptr& newError) {
  NotifyAtEnd waiters(stateChanged);
  const std::lock_guard<std::mutex> lock(mutex);
  if (!isComplete()) {
    error = newError;
    waiters.notify = true;
  }
}

bool ConfigTracker::waitForAllEndpoints(const std::chrono::milliseconds& timeout) {
  return wait(timeout, [this] { return allEndpointsComplete(); });
}

bool ConfigTracker::waitForAllServices(const std::chrono::milliseconds& timeout) {
  return wait(timeout, [this] { return allServicesPublished; });
}

bool ConfigTracker::waitForAllServicesToBeUnpublished(const std::chrono::milliseconds& timeout) {
  return wait(timeout, [this] { return allServicesUnpublished; });
}

template <class Condition>
bool ConfigTracker::wait(const std::chrono::milliseconds& timeout, Condition condition) {
  const auto decided = [&] { return error || condition(); };
  std::unique_lock<std::mutex> lock(mutex);
  // A timed wait whose time is already up still costs a system call, so looking once does without.
  const bool inTime =
      timeout > timeout.zero()
          ? stateChanged.wait_until(lock, deadlineAfter(std::chrono::steady_clock::now(), timeout), decided)
          : decided();
  if (inTime && error) {
    std::rethrow_exception(error);
  }
  return inTime;
}

OutstandingEndpoints ConfigTracker::listOutstandingEndpoints() {
  const std::lock_guard<std::mutex> lock(mutex);
  return {endpointsToConnectTo, endpointsToBindTo};
}

bool ConfigTracker::isComplete() const {
  return error || (allEndpointsComplete() && allServicesPublished);
}

bool ConfigTracker::allEndpointsComplete() const {
  return endpointsToBindTo.empty() && endpointsToConnectTo.empty();
}

}  // namespace agent::spf::frameworksetup
