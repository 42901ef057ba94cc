#include "core/EventListeners.h"

#include <functional>
#include <utility>

#include "bundles/BundlePrivate.h"
#include "core/Attempt.h"
#include "core/BundleContextPrivate.h"
#include "core/ExceptionText.h"
#include "core/HandleAccess.h"
#include "cppmicroservices/SecurityException.h"
#include "cppmicroservices/SharedLibraryException.h"
#include "framework/FrameworkCore.h"
#include "services/ServiceRecord.h"

namespace cppmicroservices {

namespace {

template <class Event>
bool isSame(const std::function<void(const Event&)>& left, const std::function<void(const Event&)>& right) {
  using Function = void (*)(const Event&);
  using Method = detail::ListenerMethod<Event>;
  if (left.target_type() != right.target_type()) {
    return false;
  }
  if (const auto* const function = left.template target<Function>()) {
    return *function == *right.template target<Function>();
  }
  const auto* const method = left.template target<Method>();
  return !method || *method == *right.template target<Method>();
}

template <class List, class Listener>
void removeFrom(List& list, const BundleContextPrivate& context, const Listener& listener) {
  list.removeIf([&](const auto& entry) { return entry.owner.get() == &context && isSame(entry.function, listener); });
}

}  // namespace

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

void EventListeners::remove(const BundleContextPrivate& context, const ServiceListener& listener) {
  removeFrom(serviceListeners_, context, listener);
}

void EventListeners::remove(const BundleContextPrivate& context, const BundleListener& listener) {
  removeFrom(bundleListeners_, context, listener);
}

void EventListeners::remove(const BundleContextPrivate& context, const FrameworkListener& listener) {
  removeFrom(frameworkListeners_, context, listener);
}

void EventListeners::removeAllOf(const BundleContextPrivate& context) {
  const auto picked = [&](const auto& entry) { return entry.owner.get() == &context; };
  serviceListeners_.removeIf(picked);
  bundleListeners_.removeIf(picked);
  frameworkListeners_.removeIf(picked);
}

/// Calls for each listener that is not removed by then.
template <class Entries, class Call>
void EventListeners::forEach(const std::shared_ptr<Entries>& listeners, Call call) {
  if (!listeners) {
    return;
  }
  for (const auto& entry : *listeners) {
    if (!entry->removed) {
      call(*entry);
    }
  }
}

void EventListeners::serviceChanged(ServiceEvent::Type type, const std::shared_ptr<ServiceRecord>& record,
                                    const AnyMap& before, const AnyMap& after) {
  const auto listeners = serviceListeners_.entries();
  if (!listeners) {
    return;  // most services are registered without anybody listening
  }
  const auto reference = detail::HandleAccess::reference(record, nullptr);
  const ServiceEvent event(type, reference);
  const bool modified = type == ServiceEvent::SERVICE_MODIFIED;
  forEach(listeners, [&](const ServiceEntry& entry) {
    if (entry.matches(after)) {
      call(entry, event);
    } else if (modified && entry.matches(before)) {
      call(entry, ServiceEvent(ServiceEvent::SERVICE_MODIFIED_ENDMATCH, reference));
    }
  });
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

void EventListeners::bundleChangedForSure(BundleEvent::Type type,
                                          const std::shared_ptr<BundlePrivate>& bundle) noexcept {
  try {
    bundleChanged(type, bundle);
  } catch (...) {
    // It was reported to the framework listeners.
  }
}

void EventListeners::bundleInstalled(const std::shared_ptr<BundlePrivate>& bundle,
                                     const std::shared_ptr<BundlePrivate>& origin) {
  deliver(BundleEvent(BundleEvent::BUNDLE_INSTALLED, framework_.handleOf(bundle), framework_.handleOf(origin)));
}

void EventListeners::deliver(const BundleEvent& event) {
  std::exception_ptr passing;
  forEach(bundleListeners_.entries(), [&](const auto& entry) { attempt(passing, [&] { call(entry, event); }); });
  rethrowIfAny(passing);
}

void EventListeners::call(const ListenerEntry<BundleListener>& entry, const BundleEvent& event) {
  const auto reportThat = [&](const std::string& message) {
    report(FrameworkEvent::FRAMEWORK_ERROR, entry.owner->bundle(), message, std::current_exception());
  };
  try {
    entry.function(event);
  } catch (const SecurityException&) {
    reportThat("Bundle listener threw a security exception");
    throw;
  } catch (const SharedLibraryException&) {
    reportThat("Bundle listener threw an exception");
    throw;
  } catch (...) {
    reportThat("Bundle listener threw an exception");
  }
}

void EventListeners::frameworkChanged(const FrameworkEvent& event) {
  framework_.log(event);
  forEach(frameworkListeners_.entries(), [&](const auto& entry) {
    try {
      entry.function(event);
    } catch (...) {
      // An event about it would come back to the same listener.
      framework_.log("A Framework Listener threw an exception: " + currentExceptionText());
    }
  });
}

void EventListeners::report(FrameworkEvent::Type type, const std::shared_ptr<BundlePrivate>& bundle,
                            const std::string& message, std::exception_ptr exception) {
  frameworkChanged(FrameworkEvent(type, framework_.handleOf(bundle), message, std::move(exception)));
}

}  // namespace cppmicroservices
