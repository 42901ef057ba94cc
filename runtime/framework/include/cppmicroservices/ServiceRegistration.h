#pragma once

#include "cppmicroservices/ServiceRegistrationBase.h"

namespace cppmicroservices {

/// The registration of a service with the given interfaces.
template <class I1, class... Interfaces>
class ServiceRegistration : public ServiceRegistrationBase {
 public:
  ServiceRegistration() = default;

  template <class Interface>
  ServiceReference<Interface> GetReference() const {
    static_assert(detail::Contains<Interface, I1, Interfaces...>::value,
                  "the service is not registered with this interface");
    return ServiceRegistrationBase::GetReference(us_service_interface_iid<Interface>());
  }
  ServiceReference<I1> GetReference() const {
    return ServiceRegistrationBase::GetReference(us_service_interface_iid<I1>());
  }

  using ServiceRegistrationBase::operator=;

 private:
  friend class BundleContext;

  ServiceRegistration(const ServiceRegistrationBase& base) : ServiceRegistrationBase(base) {}
};

/// The registration of a service whose interfaces are not known at compile time.
template <>
class ServiceRegistration<void> : public ServiceRegistrationBase {
 public:
  ServiceRegistration() = default;
  ServiceRegistration(const ServiceRegistrationBase& base) : ServiceRegistrationBase(base) {}

  using ServiceRegistrationBase::operator=;
};

using ServiceRegistrationU = ServiceRegistration<void>;

}  // namespace cppmicroservices
