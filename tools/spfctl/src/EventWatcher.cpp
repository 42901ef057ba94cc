#include "EventWatcher.hpp"

namespace spfctl {

using agent::spf::frameworklistener::FrameworkEvent;
using agent::spf::frameworklistener::ServicesEvent;

EventWatcher::EventWatcher(Changes& changes, const std::vector<std::string>& publisherIDs)
    : changes_(changes), published_(publisherIDs.begin(), publisherIDs.end()) {}

void EventWatcher::handleEvent(std::shared_ptr<const FrameworkEvent> event) {
  if (event->kind == FrameworkEvent::services) {
    const auto& services = static_cast<const ServicesEvent&>(*event);
    const std::lock_guard<std::mutex> lock(mutex_);
    // There is one revision only: the tool builds its configuration once.
    if (services.change == ServicesEvent::allUnpublished && services.modificationCount >= 1) {
      published_.erase(services.servicePublisherID);
    }
  }
  changes_.note();
}

std::vector<std::string> EventWatcher::stillPublished() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return {published_.begin(), published_.end()};
}

}  // namespace spfctl
