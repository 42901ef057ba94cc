#include "tracking/SPFConfigurationUpdateTracker.hpp"

#include <stdexcept>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>

#include "agent/host/services.hpp"
#include "tracking/FrameworkSetupListener.hpp"

namespace agent::spf::frameworksetup {

using cppmicroservices::AnyMap;
using frameworklistener::FrameworkListener;

namespace {

cppmicroservices::ServiceRegistration<FrameworkListener> registerListener(
    const std::shared_ptr<FrameworkListener>& listener) {
  const auto framework = agent::host::services::getFramework();
  if (!framework) {
    throw std::runtime_error("Cannot listen for the framework's events: the process has no framework");
  }
  return framework->GetBundleContext().RegisterService<FrameworkListener>(listener);
}

}  // namespace

// Lets make_shared reach the private constructor.
struct SPFConfigurationUpdateTracker::Constructible : SPFConfigurationUpdateTracker {};

std::shared_ptr<SPFConfigurationUpdateTracker> SPFConfigurationUpdateTracker::create(const AnyMap& properties) {
  std::shared_ptr<SPFConfigurationUpdateTracker> tracker = std::make_shared<Constructible>();
  tracker->enable(properties);
  return tracker;
}

void SPFConfigurationUpdateTracker::enable(const AnyMap& properties) {
  std::weak_ptr<SPFConfigurationUpdateTracker> weak = shared_from_this();
  std::function<void()> allCompleteCallback = [weak = std::move(weak)] {
    if (const auto tracker = weak.lock()) {
      tracker->unregisterAfterCompletion();
    }
  };
  listener = std::make_shared<FrameworkSetupListener>(std::move(allCompleteCallback), properties);
  const std::lock_guard<std::mutex> lock(registrationMutex);
  listenerRegistration = registerListener(listener);
}

SPFConfigurationUpdateTracker::~SPFConfigurationUpdateTracker() {
  try {
    unregisterListener();
  } catch (...) {
    // A destructor cannot report failures. The listener no longer reaches this object in any case.
  }
}

void SPFConfigurationUpdateTracker::unregisterListener() {
  const std::lock_guard<std::mutex> lock(registrationMutex);
  unregister(lock);
}

// A completion that was already being reported when a removal was prepared must not unregister the
// listener: it would miss the unpublish events that the removal causes.
void SPFConfigurationUpdateTracker::unregisterAfterCompletion() {
  const std::lock_guard<std::mutex> lock(registrationMutex);
  if (!removalPrepared) {
    unregister(lock);
  }
}

void SPFConfigurationUpdateTracker::unregister(const std::lock_guard<std::mutex>&) {
  if (listenerRegistration) {
    listenerRegistration.Unregister();
    listenerRegistration = nullptr;
  }
}

void SPFConfigurationUpdateTracker::prepareForRemoval() {
  listener->setRemovalInProgress();
  const std::lock_guard<std::mutex> lock(registrationMutex);
  removalPrepared = true;
  if (!listenerRegistration) {
    listenerRegistration = registerListener(listener);
  }
}

bool SPFConfigurationUpdateTracker::waitForAllEndpoints(const std::chrono::milliseconds& timeout,
                                                        const std::string& servicePublisherID) {
  return listener->waitForAllEndpoints(timeout, servicePublisherID);
}

bool SPFConfigurationUpdateTracker::waitForAllServices(const std::chrono::milliseconds& timeout,
                                                       const std::string& servicePublisherID) {
  return listener->waitForAllServices(timeout, servicePublisherID);
}

bool SPFConfigurationUpdateTracker::waitForAllServicesToBeUnpublished(const std::chrono::milliseconds& timeout,
                                                                      const std::string& servicePublisherID) {
  const bool unpublished = listener->waitForAllServicesToBeUnpublished(timeout, servicePublisherID);
  unregisterListener();
  return unpublished;
}

OutstandingEndpoints SPFConfigurationUpdateTracker::listOutstandingEndpoints(const std::string& servicePublisherID) {
  return listener->listOutstandingEndpoints(servicePublisherID);
}

}  // namespace agent::spf::frameworksetup
