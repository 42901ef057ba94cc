#include "services/ServiceListeners.h"

#include <utility>

#include "core/HandleAccess.h"

namespace cppmicroservices {

ServiceListenerEntry::ServiceListenerEntry(std::shared_ptr<BundleContextPrivate> context,
                                           const ServiceListener& listener, const std::string& filterText)
    : ListenerEntry(std::move(context), listener),
      filtered(!filterText.empty()),
      filter(filtered ? LDAPFilter(filterText) : LDAPFilter()) {}

bool ServiceListenerEntry::matches(const AnyMap& properties) const {
  return !filtered || filter.Match(properties);
}

ServiceListeners::ServiceListeners(FrameworkListeners& reports) : reports_(reports) {}

void ServiceListeners::notify(ServiceEvent::Type type, const std::shared_ptr<ServiceRecord>& record,
                              const AnyMap& before, const AnyMap& after) {
  const auto listeners = list.entries();
  if (!listeners) {
    return;  // saves the event: most services are registered without any listener
  }
  const auto reference = detail::HandleAccess::reference(record, nullptr);
  const ServiceEvent event(type, reference);
  const bool modified = type == ServiceEvent::SERVICE_MODIFIED;
  list.forEach(listeners, [&](const ServiceListenerEntry& entry) {
    if (entry.matches(after)) {
      call(entry, event);
    } else if (modified && entry.matches(before)) {
      call(entry, ServiceEvent(ServiceEvent::SERVICE_MODIFIED_ENDMATCH, reference));
    }
  });
}

void ServiceListeners::call(const ServiceListenerEntry& entry, const ServiceEvent& event) {
  try {
    entry.function(event);
  } catch (...) {
    const auto bundle = entry.owner->bundle();
    const auto handle = reports_.handles().of(bundle);
    reports_.report(
        FrameworkEvent::FRAMEWORK_ERROR, bundle,
        "Service listener in " + (handle ? handle.GetSymbolicName() : std::string()) + " threw an exception!",
        std::current_exception());
  }
}

}  // namespace cppmicroservices
