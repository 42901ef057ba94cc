#pragma once

#include <memory>
#include <string>

#include "core/FrameworkListeners.h"
#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/LDAPFilter.h"
#include "cppmicroservices/ServiceEvent.h"

namespace cppmicroservices {

class ServiceRecord;

/// A service listener with its filter.
struct ServiceListenerEntry : ListenerEntry<ServiceListener> {
  /// \throws std::invalid_argument for a bad filter
  ServiceListenerEntry(std::shared_ptr<BundleContextPrivate> context, const ServiceListener& listener,
                       const std::string& filterText);
  bool matches(const AnyMap& properties) const;

  const bool filtered;
  const LDAPFilter filter;
};

/// One framework's service listeners. They are called on the thread of the event, with no lock held; their exceptions
/// become FRAMEWORK_ERROR events. Any thread may use it.
class ServiceListeners {
 public:
  explicit ServiceListeners(FrameworkListeners& reports);

  /// Calls the listeners whose filters match.
  /// \param before  the service's properties before the event
  /// \param after  the service's properties now; the same map if they did not change
  void notify(ServiceEvent::Type type, const std::shared_ptr<ServiceRecord>& record, const AnyMap& before,
              const AnyMap& after);

  ListenerList<ServiceListenerEntry> list;

 private:
  void call(const ServiceListenerEntry& entry, const ServiceEvent& event);

  FrameworkListeners& reports_;
};

}  // namespace cppmicroservices
