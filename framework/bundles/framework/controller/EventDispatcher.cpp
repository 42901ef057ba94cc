#include "EventDispatcher.hpp"

#include <utility>

namespace spf::controller {

using agent::spf::frameworklistener::EndpointEvent;
using agent::spf::frameworklistener::ErrorEvent;
using agent::spf::frameworklistener::FrameworkEvent;
using agent::spf::frameworklistener::FrameworkListener;
using agent::spf::frameworklistener::ServicesEvent;
using cppmicroservices::Any;

namespace {

using Origin = EventDispatcher::Origin;

std::shared_ptr<const FrameworkEvent> endpointEvent(const Origin& origin, const Any& endpoint, std::uint32_t change) {
  return std::make_shared<EndpointEvent>(
      EndpointEvent{{FrameworkEvent::endpoint}, change, endpoint, origin.servicePublisherID, origin.modificationCount});
}

std::shared_ptr<const FrameworkEvent> servicesEvent(const Origin& origin, std::uint32_t change) {
  return std::make_shared<ServicesEvent>(
      ServicesEvent{{FrameworkEvent::services}, change, origin.servicePublisherID, origin.modificationCount});
}

}  // namespace

EventDispatcher::EventDispatcher(cppmicroservices::BundleContext context) : context_(std::move(context)) {}

void EventDispatcher::endpointBound(const Origin& origin, const Any& endpoint, bool kept) {
  withdrawals_.noteReport(origin.servicePublisherID);
  post(endpointEvent(origin, endpoint, kept ? EndpointEvent::stillBound : EndpointEvent::bound));
}

void EventDispatcher::endpointConnected(const Origin& origin, const Any& endpoint, bool kept) {
  withdrawals_.noteReport(origin.servicePublisherID);
  post(endpointEvent(origin, endpoint, kept ? EndpointEvent::stillConnected : EndpointEvent::connected));
}

void EventDispatcher::allServicesPublished(const Origin& origin) {
  withdrawals_.noteReport(origin.servicePublisherID);
  post(servicesEvent(origin, ServicesEvent::allPublished));
}

void EventDispatcher::allServicesUnpublished(const Origin& origin) {
  post(servicesEvent(origin, ServicesEvent::allUnpublished));
  // Last: a thread that waits for the report may stop the dispatcher at once.
  withdrawals_.noteUnpublished(origin.servicePublisherID);
}

void EventDispatcher::failed(const Origin& origin, std::exception_ptr error) {
  withdrawals_.noteReport(origin.servicePublisherID);
  post(std::make_shared<ErrorEvent>(
      ErrorEvent{{FrameworkEvent::error}, std::move(error), origin.servicePublisherID, origin.modificationCount}));
}

void EventDispatcher::check(std::function<void()> done) {
  executor_.post(std::move(done));
}

void EventDispatcher::post(std::shared_ptr<const FrameworkEvent> event) {
  executor_.post([self = shared_from_this(), event = std::move(event)] { self->deliver(event); });
}

void EventDispatcher::stop() {
  executor_.stop();
}

void EventDispatcher::deliver(const std::shared_ptr<const FrameworkEvent>& event) {
  auto context = context_;
  for (const auto& reference : context.GetServiceReferences<FrameworkListener>()) {
    try {
      if (const auto listener = context.GetService(reference)) {
        listener->handleEvent(event);
      }
    } catch (...) {
      // The listener was unregistered meanwhile, or it threw: the others receive the event all the same.
    }
  }
}

}  // namespace spf::controller
