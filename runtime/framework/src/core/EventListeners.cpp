#include "core/EventListeners.h"

#include <utility>

#include "bundles/BundleContextPrivate.h"
#include "bundles/BundlePrivate.h"
#include "core/FrameworkCore.h"
#include "core/HandleAccess.h"
#include "services/ServiceRecord.h"

namespace cppmicroservices {

EventListeners::ServiceEntry::ServiceEntry(ListenerTokenId token, std::shared_ptr<BundleContextPrivate> context,
                                           const ServiceListener& listener, const std::string& filterText)
    : ListenerEntry(token, std::move(context), listener),
      filtered(!filterText.empty()),
      filter(filtered ? LDAPFilter(filterText) : LDAPFilter()) {}

bool EventListeners::ServiceEntry::matches(const AnyMap& properties) const {
  return !filtered || filter.Match(properties);
}

EventListeners::EventListeners(FrameworkCore& framework) : framework_(framework) {}

template <class List, class Entry>
ListenerToken EventListeners::add(List& list, std::shared_ptr<Entry> entry) {
  const auto id = entry->id;
  const auto context = entry->owner;
  if (!list.addIf(std::move(entry), [&] { return context->isValid(); })) {
    context->throwInvalid();
  }
  return detail::HandleAccess::token(id);
}

ListenerToken EventListeners::addServiceListener(std::shared_ptr<BundleContextPrivate> context,
                                                 const ServiceListener& listener, const std::string& filter) {
  return add(serviceListeners_, std::make_shared<ServiceEntry>(++lastId_, std::move(context), listener, filter));
}

ListenerToken EventListeners::addBundleListener(std::shared_ptr<BundleContextPrivate> context,
                                                const BundleListener& listener) {
  return add(bundleListeners_,
             std::make_shared<ListenerEntry<BundleListener>>(++lastId_, std::move(context), listener));
}

ListenerToken EventListeners::addFrameworkListener(std::shared_ptr<BundleContextPrivate> context,
                                                   const FrameworkListener& listener) {
  return add(frameworkListeners_,
             std::make_shared<ListenerEntry<FrameworkListener>>(++lastId_, std::move(context), listener));
}

void EventListeners::remove(const ListenerToken& token) {
  if (!token) {
    return;
  }
  const auto picked = [id = detail::HandleAccess::idOf(token)](const auto& entry) { return entry.id == id; };
  serviceListeners_.removeIf(picked);
  bundleListeners_.removeIf(picked);
  frameworkListeners_.removeIf(picked);
}

void EventListeners::removeAllOf(const BundleContextPrivate& context) {
  const auto picked = [&](const auto& entry) { return entry.owner.get() == &context; };
  serviceListeners_.removeIf(picked);
  bundleListeners_.removeIf(picked);
  frameworkListeners_.removeIf(picked);
}

void EventListeners::serviceChanged(ServiceEvent::Type type, const std::shared_ptr<ServiceRecord>& record,
                                    const AnyMap& before, const AnyMap& after) {
  const auto listeners = serviceListeners_.entries();
  if (!listeners) {
    return;
  }
  const auto reference = detail::HandleAccess::reference(record, nullptr);
  const ServiceEvent event(type, reference);
  const bool modified = type == ServiceEvent::SERVICE_MODIFIED;
  for (const auto& entry : *listeners) {
    if (entry->removed) {
      continue;
    }
    if (entry->matches(after)) {
      call(*entry, event);
    } else if (modified && entry->matches(before)) {
      call(*entry, ServiceEvent(ServiceEvent::SERVICE_MODIFIED_ENDMATCH, reference));
    }
  }
}

void EventListeners::call(const ServiceEntry& entry, const ServiceEvent& event) {
  try {
    entry.function(event);
  } catch (...) {
    const auto bundle = entry.owner->bundle();
    report(FrameworkEvent::FRAMEWORK_ERROR, bundle,
           "Service listener in " + (bundle ? bundle->symbolicName : std::string()) + " threw an exception!",
           std::current_exception());
  }
}

void EventListeners::bundleChanged(BundleEvent::Type type, const std::shared_ptr<BundlePrivate>& bundle) {
  deliver(BundleEvent(type, framework_.handleOf(bundle)));
}

void EventListeners::bundleInstalled(const std::shared_ptr<BundlePrivate>& bundle,
                                     const std::shared_ptr<BundlePrivate>& origin) {
  deliver(BundleEvent(BundleEvent::BUNDLE_INSTALLED, framework_.handleOf(bundle), framework_.handleOf(origin)));
}

void EventListeners::deliver(const BundleEvent& event) {
  const auto listeners = bundleListeners_.entries();
  if (!listeners) {
    return;
  }
  for (const auto& entry : *listeners) {
    if (entry->removed) {
      continue;
    }
    try {
      entry->function(event);
    } catch (...) {
      report(FrameworkEvent::FRAMEWORK_ERROR, entry->owner->bundle(), "Bundle listener threw an exception",
             std::current_exception());
    }
  }
}

void EventListeners::frameworkChanged(const FrameworkEvent& event) {
  framework_.log(event);
  const auto listeners = frameworkListeners_.entries();
  if (!listeners) {
    return;
  }
  for (const auto& entry : *listeners) {
    if (entry->removed) {
      continue;
    }
    try {
      entry->function(event);
    } catch (...) {
      // Nobody is left to tell: an event about it would come back to the same listener.
    }
  }
}

void EventListeners::report(FrameworkEvent::Type type, const std::shared_ptr<BundlePrivate>& bundle,
                            const std::string& message, std::exception_ptr exception) {
  frameworkChanged(FrameworkEvent(type, framework_.handleOf(bundle), message, std::move(exception)));
}

}  // namespace cppmicroservices
