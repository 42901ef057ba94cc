#pragma once

#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <cppmicroservices/AnyMap.h>

#include "agent/spf/frameworklistener/FrameworkListener.hpp"
#include "tracking/ConfigTracker.hpp"

namespace agent::spf::frameworksetup {

/// Receives every event of the framework and routes those that answer its configuration, in its revision
/// or a later one, to the tracker of the publisher that they name. Calls back when every publisher is
/// complete, possibly more than once.
///
/// Events may arrive on any thread and on several at once. The listener owns everything that handling
/// an event uses: it may still be inside `handleEvent` when all its other owners have released it.
class FrameworkSetupListener : public frameworklistener::FrameworkListener {
 public:
  /// \param allCompleteCallback  called with no lock held, on the thread that reports the event
  /// \param properties           the configuration's complete properties
  /// \throws std::out_of_range for a missing key, cppmicroservices::BadAnyCastException for a wrong type
  FrameworkSetupListener(std::function<void()>&& allCompleteCallback, const cppmicroservices::AnyMap& properties);

  FrameworkSetupListener(const FrameworkSetupListener&) = delete;
  FrameworkSetupListener& operator=(const FrameworkSetupListener&) = delete;

  /// Ignores stale events, publishers of other configurations, and unknown kinds and changes. Propagates
  /// whatever comparing endpoints, logging or the callback throws.
  void handleEvent(std::shared_ptr<const frameworklistener::FrameworkEvent> event) override;

  /// From now on, completions no longer call back.
  void setRemovalInProgress();

  /// As the tracker of the named publisher does them.
  /// \throws std::out_of_range for a publisher that the configuration does not have
  bool waitForAllEndpoints(const std::chrono::milliseconds& timeout, const std::string& servicePublisherID);
  bool waitForAllServices(const std::chrono::milliseconds& timeout, const std::string& servicePublisherID);
  bool waitForAllServicesToBeUnpublished(const std::chrono::milliseconds& timeout,
                                         const std::string& servicePublisherID);
  OutstandingEndpoints listOutstandingEndpoints(const std::string& servicePublisherID);

 private:
  template <class Event>
  void route(const Event& event);

  /// Reports the event to the tracker. \return whether the publisher counts as completed
  static bool apply(const frameworklistener::ServicesEvent& event, ConfigTracker& tracker);
  static bool apply(const frameworklistener::ErrorEvent& event, ConfigTracker& tracker);
  static bool apply(const frameworklistener::EndpointEvent& event, ConfigTracker& tracker);

  void configTrackerCompleted(const std::string& servicePublisherID);

  // Constant after construction.
  const std::function<void()> allCompleteCallback;
  const int modificationCount;
  std::unordered_map<std::string, ConfigTracker> configTrackers;

  std::mutex completionMutex;

  // Guarded by `completionMutex`.
  std::unordered_set<std::string> completedServicePublishers;
  bool removalInProgress = false;
};

}  // namespace agent::spf::frameworksetup
