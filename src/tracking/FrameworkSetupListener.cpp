#include "tracking/FrameworkSetupListener.hpp"

#include <cstdint>
#include <tuple>

#include "publish/propertyKeys.hpp"

namespace agent::spf::frameworksetup {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using cppmicroservices::ref_any_cast;
using frameworklistener::EndpointEvent;
using frameworklistener::ErrorEvent;
using frameworklistener::FrameworkEvent;
using frameworklistener::ServicesEvent;
using List = std::vector<Any>;

namespace {

// Publishers of these names have their endpoints tracked; all others are complete as soon as their
// services are published.
const std::unordered_set<std::string> rpcServicePublisherNames{"rpcservicepublisher"};

List endpoints(const AnyMap& config, const char* key, bool tracked) {
  return tracked ? ref_any_cast<List>(config.at(key)) : List();
}

void addTracker(std::unordered_map<std::string, ConfigTracker>& trackers, const AnyMap& publisher) {
  const auto& config = ref_any_cast<AnyMap>(publisher.at(configKey));
  const bool isRpc = rpcServicePublisherNames.count(ref_any_cast<std::string>(publisher.at(nameKey))) != 0;
  auto toBind = endpoints(config, endpointsToBindToKey, isRpc);
  auto toConnect = endpoints(config, endpointsToConnectToKey, isRpc);
  trackers.emplace(std::piecewise_construct,
                   std::forward_as_tuple(ref_any_cast<std::string>(publisher.at(uniqueIDKey))),
                   std::forward_as_tuple(std::move(toBind), std::move(toConnect), isRpc));
}

}  // namespace

FrameworkSetupListener::FrameworkSetupListener(std::function<void()>&& callback, const AnyMap& properties)
    : allCompleteCallback(std::move(callback)),
      modificationCount(ref_any_cast<int>(properties.at(modificationCountKey))) {
  for (const auto& publisher : ref_any_cast<List>(properties.at(servicePublisherConfigurationsKey))) {
    addTracker(configTrackers, ref_any_cast<AnyMap>(publisher));
  }
}

// The records have no virtual functions: `kind` says which one it is. Every listener hears every event, so most are for
// others: the look-up is made here, without a call.
[[gnu::flatten]] void FrameworkSetupListener::handleEvent(std::shared_ptr<const FrameworkEvent> event) {
  switch (event->kind) {
    case FrameworkEvent::services:
      return route(static_cast<const ServicesEvent&>(*event));
    case FrameworkEvent::error:
      return route(static_cast<const ErrorEvent&>(*event));
    case FrameworkEvent::endpoint:
      return route(static_cast<const EndpointEvent&>(*event));
    default:
      return;
  }
}

template <class Event>
void FrameworkSetupListener::route(const Event& event) {
  if (event.modificationCount < static_cast<std::uint32_t>(modificationCount)) {
    return;
  }
  const auto found = configTrackers.find(event.servicePublisherID);
  if (found != configTrackers.end() && apply(event, found->second)) {
    configTrackerCompleted(event.servicePublisherID);
  }
}

bool FrameworkSetupListener::apply(const ErrorEvent& event, ConfigTracker& tracker) {
  tracker.setError(event.error);
  return true;
}

bool FrameworkSetupListener::apply(const ServicesEvent& event, ConfigTracker& tracker) {
  switch (event.change) {
    case ServicesEvent::allPublished:
      return tracker.completeAllServicesPublished();
    case ServicesEvent::allUnpublished:
      tracker.completeAllServicesUnpublished();
      return true;
    default:
      return false;
  }
}

bool FrameworkSetupListener::apply(const EndpointEvent& event, ConfigTracker& tracker) {
  switch (event.change) {
    case EndpointEvent::bound:
    case EndpointEvent::stillBound:
      return tracker.completeEndpointBind(event.endpoint);
    case EndpointEvent::connected:
    case EndpointEvent::stillConnected:
      return tracker.completeEndpointConnect(event.endpoint);
    default:
      return false;
  }
}

void FrameworkSetupListener::configTrackerCompleted(const std::string& servicePublisherID) {
  {
    const std::lock_guard<std::mutex> lock(completionMutex);
    completedServicePublishers.insert(servicePublisherID);
    if (removalInProgress || completedServicePublishers.size() != configTrackers.size()) {
      return;
    }
  }
  const auto callback = allCompleteCallback;
  callback();
}

void FrameworkSetupListener::setRemovalInProgress() {
  const std::lock_guard<std::mutex> lock(completionMutex);
  removalInProgress = true;
}

bool FrameworkSetupListener::waitForAllEndpoints(const std::chrono::milliseconds& timeout,
                                                 const std::string& servicePublisherID) {
  return configTrackers.at(servicePublisherID).waitForAllEndpoints(timeout);
}

bool FrameworkSetupListener::waitForAllServices(const std::chrono::milliseconds& timeout,
                                                const std::string& servicePublisherID) {
  return configTrackers.at(servicePublisherID).waitForAllServices(timeout);
}

bool FrameworkSetupListener::waitForAllServicesToBeUnpublished(const std::chrono::milliseconds& timeout,
                                                               const std::string& servicePublisherID) {
  return configTrackers.at(servicePublisherID).waitForAllServicesToBeUnpublished(timeout);
}

OutstandingEndpoints FrameworkSetupListener::listOutstandingEndpoints(const std::string& servicePublisherID) {
  return configTrackers.at(servicePublisherID).listOutstandingEndpoints();
}

}  // namespace agent::spf::frameworksetup
