#pragma once

#include <cstdint>
#include <memory>
#include <ostream>

#include "cppmicroservices/ServiceReference.h"

namespace cppmicroservices {

/// A change of a service. Copies are cheap. A default constructed event converts to false.
class US_Framework_EXPORT ServiceEvent {
 public:
  enum Type : uint32_t {
    SERVICE_REGISTERED = 0x00000001,
    SERVICE_MODIFIED = 0x00000002,
    SERVICE_UNREGISTERING = 0x00000004,
    SERVICE_MODIFIED_ENDMATCH = 0x00000008
  };

  ServiceEvent();
  ServiceEvent(Type type, const ServiceReferenceBase& reference);
  ServiceEvent(const ServiceEvent& other);
  ServiceEvent& operator=(const ServiceEvent& other);

  explicit operator bool() const;

  /// Returns a reference to the service; an empty one for a default constructed event.
  ServiceReferenceU GetServiceReference() const;
  template <class S>
  ServiceReference<S> GetServiceReference() const {
    return GetServiceReference();
  }
  /// Returns the type of the change.
  /// \throws std::logic_error for a default constructed event
  Type GetType() const;

 private:
  struct Data;
  std::shared_ptr<const Data> data_;
};

US_Framework_EXPORT std::ostream& operator<<(std::ostream& out, const ServiceEvent::Type& type);
US_Framework_EXPORT std::ostream& operator<<(std::ostream& out, const ServiceEvent& event);

}  // namespace cppmicroservices
