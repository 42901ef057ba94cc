#pragma once

#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <vector>

#include <cppmicroservices/Any.h>

#include "tracking/OutstandingEndpoints.hpp"

namespace agent::spf::frameworksetup {

/// What is still outstanding for one service publisher.
///
/// The framework's threads report progress, the callers' threads wait for it; any number of both at
/// once. State only moves forward: endpoints leave the lists, the rest is set once. Waiters are
/// notified after the mutex is released. Endpoints are compared, and log sinks run, under the mutex.
class ConfigTracker {
 public:
  ConfigTracker(std::vector<cppmicroservices::Any>&& toBind, std::vector<cppmicroservices::Any>&& toConnect,
                bool isRpc);

  ConfigTracker(const ConfigTracker&) = delete;
  ConfigTracker& operator=(const ConfigTracker&) = delete;

  /// Takes every element equal to the endpoint off the list. Unknown endpoints change nothing.
  /// When writing the log record throws, the endpoint stays off the list and waiters are notified; when
  /// comparing throws, nothing has changed.
  /// \return whether the publisher is complete afterwards
  bool completeEndpointBind(const cppmicroservices::Any& endpoint);
  bool completeEndpointConnect(const cppmicroservices::Any& endpoint);

  /// Logs first: when that throws, the services do not count as published.
  /// \return whether the publisher is complete afterwards
  bool completeAllServicesPublished();

  void completeAllServicesUnpublished();

  /// Keeps the framework's error for the waiters, unless there is one or the publisher is complete.
  void setError(const std::exception_ptr& error);

  /// Block until the condition holds or the time is up, and rethrow the framework's error if there is
  /// one. Zero and negative time-outs look once.
  /// \return whether the condition holds
  bool waitForAllEndpoints(const std::chrono::milliseconds& timeout);
  bool waitForAllServices(const std::chrono::milliseconds& timeout);
  bool waitForAllServicesToBeUnpublished(const std::chrono::milliseconds& timeout);

  /// Copies of the outstanding endpoints; first those to be connected, second those to be bound.
  OutstandingEndpoints listOutstandingEndpoints();

 private:
  bool completeEndpoint(std::vector<cppmicroservices::Any>& outstanding, const cppmicroservices::Any& endpoint,
                        const char* message);
  bool removeEqual(std::vector<cppmicroservices::Any>& outstanding, const cppmicroservices::Any& endpoint);

  template <class Condition>
  bool wait(const std::chrono::milliseconds& timeout, Condition condition);

  bool isComplete() const;
  bool allEndpointsComplete() const;

  std::mutex mutex;
  std::condition_variable stateChanged;

  // Guarded by `mutex`.
  std::vector<cppmicroservices::Any> endpointsToBindTo;
  std::vector<cppmicroservices::Any> endpointsToConnectTo;
  [[maybe_unused]] const bool isRpcServicePublisher;
  bool allServicesPublished = false;
  bool allServicesUnpublished = false;
  std::exception_ptr error;
  // Which elements of the list that is searched equal the endpoint: 1, otherwise 0. Has its memory from the
  // start, so that an event needs none. No vector of `bool`: setting its bits is as much work as the comparisons.
  std::vector<char> marks;
};

}  // namespace agent::spf::frameworksetup
