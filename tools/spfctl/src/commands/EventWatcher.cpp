#include "commands/EventWatcher.hpp"

namespace spfctl {

using agent::spf::frameworklistener::EndpointEvent;
using agent::spf::frameworklistener::ErrorEvent;
using agent::spf::frameworklistener::FrameworkEvent;
using agent::spf::frameworklistener::ServicesEvent;

EventWatcher::EventWatcher(Changes& changes, const std::vector<std::string>& publisherIDs)
    : changes_(changes), silent_(publisherIDs.begin(), publisherIDs.end()) {}

void EventWatcher::handleEvent(std::shared_ptr<const FrameworkEvent> event) {
  if (event->kind == FrameworkEvent::services) {
    const auto& services = static_cast<const ServicesEvent&>(*event);
    note(services.servicePublisherID, services.change == ServicesEvent::allUnpublished);
  } else if (event->kind == FrameworkEvent::error) {
    note(static_cast<const ErrorEvent&>(*event).servicePublisherID, false);
  } else if (event->kind == FrameworkEvent::endpoint) {
    note(static_cast<const EndpointEvent&>(*event).servicePublisherID, false);
  }
  changes_.note();
}

// Counts do not matter: the tool builds its configuration once.
void EventWatcher::note(const std::string& publisherID, bool unpublished) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (silent_.erase(publisherID) != 0) {
    published_.insert(publisherID);
  }
  if (unpublished) {
    published_.erase(publisherID);
  }
}

std::vector<std::string> EventWatcher::stillPublished() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return {published_.begin(), published_.end()};
}

bool EventWatcher::someAreSilent() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return !silent_.empty();
}

}  // namespace spfctl
