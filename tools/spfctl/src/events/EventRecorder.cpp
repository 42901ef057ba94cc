#include "events/EventRecorder.hpp"

#include <stdexcept>
#include <utility>

#include "events/EventLog.hpp"

namespace spfctl {

using agent::spf::frameworklistener::FrameworkListener;

namespace {

cppmicroservices::ServiceRegistration<FrameworkListener> registerListener(
    cppmicroservices::BundleContext context, const std::shared_ptr<FrameworkListener>& listener) {
  if (!context) {
    throw std::runtime_error("Cannot record the framework's events: the bundle context is not valid");
  }
  return context.RegisterService<FrameworkListener>(listener);
}

}  // namespace

EventRecorder::EventRecorder(cppmicroservices::BundleContext context, std::size_t capacity)
    : log_(std::make_shared<EventLog>(capacity)), registration_(registerListener(std::move(context), log_)) {}

EventRecorder::~EventRecorder() {
  try {
    registration_.Unregister();
  } catch (...) {
    // The framework's stop may have unregistered it. A log that stays registered reaches nothing of this object.
  }
  log_->removeAllListeners();
}

void EventRecorder::notePublication(const std::string& configurationID, std::uint32_t revision, const std::string& file,
                                    const std::string& text) {
  log_->notePublication({configurationID, revision, file, text});
}

EventRecorder::Position EventRecorder::begin() const {
  return log_->begin();
}

EventRecorder::Position EventRecorder::end() const {
  return log_->end();
}

EventRecorder::Batch EventRecorder::read(Position from, std::size_t atMost) const {
  return log_->read(from, atMost);
}

std::string EventRecorder::latestConfiguration() const {
  return log_->latestConfiguration();
}

EventRecorder::ListenerID EventRecorder::addListener(std::function<void()> onNew) {
  return log_->addListener(std::move(onNew));
}

void EventRecorder::removeListener(ListenerID id) {
  log_->removeListener(id);
}

}  // namespace spfctl
