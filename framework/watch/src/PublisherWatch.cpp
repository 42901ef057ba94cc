#include "agent/spf/frameworkwatch/PublisherWatch.hpp"

#include <stdexcept>
#include <utility>

#include "WatchListener.hpp"

namespace agent::spf::frameworkwatch {

using frameworklistener::FrameworkListener;

namespace {

cppmicroservices::ServiceRegistration<FrameworkListener> registerListener(
    cppmicroservices::BundleContext context, const std::shared_ptr<FrameworkListener>& listener) {
  if (!context) {
    throw std::runtime_error("Cannot listen for the publishers' events: the bundle context is not valid");
  }
  return context.RegisterService<FrameworkListener>(listener);
}

}  // namespace

PublisherWatch::PublisherWatch(cppmicroservices::BundleContext context, const std::vector<std::string>& publisherIDs,
                               std::uint32_t revision, std::function<void()> onChange)
    : listener_(std::make_shared<WatchListener>(publisherIDs, revision, std::move(onChange))),
      registration_(registerListener(std::move(context), listener_)) {}

PublisherWatch::~PublisherWatch() {
  try {
    registration_.Unregister();
  } catch (...) {
    // The framework's stop may have unregistered it. A listener that stays registered ignores further events.
  }
  listener_->stopCallback();
}

void PublisherWatch::expectRevision(std::uint32_t revision) {
  listener_->expectRevision(revision);
}

WatchResult PublisherWatch::waitUntilAllPublished(std::chrono::milliseconds timeout) {
  return listener_->waitUntilAllPublished(timeout);
}

WatchResult PublisherWatch::waitUntilAllUnpublished(std::chrono::milliseconds timeout,
                                                    std::chrono::milliseconds silenceLimit) {
  return listener_->waitUntilAllUnpublished(timeout, silenceLimit);
}

}  // namespace agent::spf::frameworkwatch
