#pragma once

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <utility>

#include "cppmicroservices/ServiceProperties.h"
#include "cppmicroservices/ServiceReference.h"

namespace cppmicroservices {

class ServiceRecord;

namespace detail {
struct HandleAccess;
}

/// Changes and unregisters one registered service. Copies are cheap and refer to the same service. Destroying a
/// registration, or assigning null, does not unregister the service. It converts to true also after the service was
/// unregistered. Different registrations may be used by different threads at the same time.
///
/// Once the framework is destroyed, SetProperties and Unregister do nothing.
class US_Framework_EXPORT ServiceRegistrationBase {
 public:
  ServiceRegistrationBase(const ServiceRegistrationBase& other);
  ServiceRegistrationBase(ServiceRegistrationBase&& other) noexcept;
  ServiceRegistrationBase& operator=(const ServiceRegistrationBase& other);
  ServiceRegistrationBase& operator=(ServiceRegistrationBase&& other) noexcept;
  ServiceRegistrationBase& operator=(std::nullptr_t);
  ~ServiceRegistrationBase();

  explicit operator bool() const;

  /// Returns a reference to the service.
  /// \throws std::logic_error if the service is unregistered, or this is no registration
  ServiceReferenceBase GetReference(const std::string& interfaceId = std::string()) const;

  /// Replaces the properties except those that the framework sets, and calls the service listeners with
  /// SERVICE_MODIFIED on this thread; those whose filters no longer match, with SERVICE_MODIFIED_ENDMATCH.
  /// \throws std::invalid_argument if the ranking is not an int, std::runtime_error for keys that differ only
  ///         in case, std::logic_error if the service is unregistered; nothing is changed then
  void SetProperties(const ServiceProperties& properties);
  void SetProperties(ServiceProperties&& properties);

  /// Removes the service from the look-up, calls the service listeners with SERVICE_UNREGISTERING on this thread, and
  /// releases the implementation. Does not wait for the holders of the service. Returns at once while another call for
  /// this service is running, also from inside a listener.
  /// \throws std::logic_error if the service is unregistered already, or this is no registration
  void Unregister();

  bool operator<(const ServiceRegistrationBase& other) const;
  bool operator==(const ServiceRegistrationBase& other) const;

 private:
  template <class I1, class... Interfaces>
  friend class ServiceRegistration;
  friend struct std::hash<ServiceRegistrationBase>;
  friend struct detail::HandleAccess;

  ServiceRegistrationBase();
  explicit ServiceRegistrationBase(std::shared_ptr<ServiceRecord> record);

  ServiceRecord& valid() const;

  std::shared_ptr<ServiceRecord> record_;
};

US_Framework_EXPORT std::ostream& operator<<(std::ostream& out, const ServiceRegistrationBase& registration);

}  // namespace cppmicroservices

US_HASH_FUNCTION_BEGIN(cppmicroservices::ServiceRegistrationBase)
return std::hash<std::shared_ptr<cppmicroservices::ServiceRecord>>()(arg.record_);
US_HASH_FUNCTION_END
