#pragma once

#include <memory>

#include "cppmicroservices/ServiceInterface.h"
#include "cppmicroservices/ServiceReferenceBase.h"

namespace cppmicroservices {

/// A reference to a service of interface S. It is empty if it is made from a reference to a service without that
/// interface.
template <class S>
class ServiceReference : public ServiceReferenceBase {
 public:
  using ServiceType = S;

  ServiceReference() = default;
  ServiceReference(const ServiceReference&) = default;
  ServiceReference& operator=(const ServiceReference&) = default;
  ServiceReference(const ServiceReferenceBase& base) : ServiceReferenceBase(base) {
    narrowTo(us_service_interface_iid<S>());
  }
  ServiceReference& operator=(const ServiceReferenceBase& base) { return *this = ServiceReference(base); }

  using ServiceReferenceBase::operator=;
  using ServiceReferenceBase::operator==;
  using ServiceReferenceBase::Hash;
};

/// A reference to a service as a whole.
template <>
class ServiceReference<void> : public ServiceReferenceBase {
 public:
  using ServiceType = void;

  ServiceReference() = default;
  ServiceReference(const ServiceReference&) = default;
  ServiceReference& operator=(const ServiceReference&) = default;
  ServiceReference(const ServiceReferenceBase& base) : ServiceReferenceBase(base) {}

  using ServiceReferenceBase::operator=;
  using ServiceReferenceBase::operator==;
  using ServiceReferenceBase::Hash;
};

using ServiceReferenceU = ServiceReference<void>;

/// Returns a reference to the service that an object belongs to.
/// \param service  a pointer that BundleContext::GetService or ServiceObjects::GetService returned
/// \throws std::runtime_error for any other pointer
US_Framework_EXPORT ServiceReferenceU ServiceReferenceFromService(const std::shared_ptr<void>& service);

template <typename T, typename U = T>
ServiceReference<U> ServiceReferenceFromService(const std::shared_ptr<T>& service) {
  return ServiceReference<U>(ServiceReferenceFromService(std::static_pointer_cast<void>(service)));
}

}  // namespace cppmicroservices

namespace std {
template <class S>
struct hash<cppmicroservices::ServiceReference<S>> {
  std::size_t operator()(const cppmicroservices::ServiceReference<S>& reference) const { return reference.Hash(); }
};
}  // namespace std
