#pragma once

#include <memory>
#include <utility>

#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/FrameworkExport.h"
#include "cppmicroservices/PrototypeServiceFactory.h"
#include "cppmicroservices/ServiceReference.h"

namespace cppmicroservices {

/// The common base of all ServiceObjects.
class US_Framework_EXPORT ServiceObjectsBase {
 public:
  ServiceObjectsBase(const ServiceObjectsBase&) = delete;
  ServiceObjectsBase& operator=(const ServiceObjectsBase&) = delete;
  ServiceObjectsBase(ServiceObjectsBase&& other) noexcept;
  ServiceObjectsBase& operator=(ServiceObjectsBase&& other) noexcept;

 protected:
  ServiceObjectsBase(std::shared_ptr<BundleContextPrivate> context, const ServiceReferenceBase& reference);
  ~ServiceObjectsBase();

  std::shared_ptr<void> GetService() const;
  InterfaceMapConstPtr GetServiceInterfaceMap() const;
  ServiceReferenceBase GetReference() const;

 private:
  std::shared_ptr<BundleContextPrivate> context_;
  ServiceReferenceU reference_;
};

/// Gets objects of one service: a new one for each call if its factory is a PrototypeServiceFactory, otherwise as
/// BundleContext::GetService. Move-only. Made by BundleContext::GetServiceObjects.
template <class S>
class ServiceObjects : private ServiceObjectsBase {
 public:
  ServiceObjects(ServiceObjects&& other) noexcept = default;
  ServiceObjects& operator=(ServiceObjects&& other) noexcept = default;

  /// Returns the object; null if the service is unregistered or its factory fails.
  /// \throws IllegalStateException if the bundle context is no longer valid
  std::shared_ptr<S> GetService() const { return std::static_pointer_cast<S>(ServiceObjectsBase::GetService()); }
  ServiceReference<S> GetServiceReference() const { return GetReference(); }

 private:
  friend class BundleContext;

  ServiceObjects(const std::shared_ptr<BundleContextPrivate>& context, const ServiceReference<S>& reference)
      : ServiceObjectsBase(context, reference) {}
};

/// Gets objects of a service whose interfaces are not known at compile time.
template <>
class US_Framework_EXPORT ServiceObjects<void> : private ServiceObjectsBase {
 public:
  ServiceObjects(ServiceObjects&& other) noexcept = default;
  ServiceObjects& operator=(ServiceObjects&& other) noexcept = default;

  InterfaceMapConstPtr GetService() const { return GetServiceInterfaceMap(); }
  ServiceReferenceU GetServiceReference() const { return GetReference(); }

 private:
  friend class BundleContext;

  ServiceObjects(const std::shared_ptr<BundleContextPrivate>& context, const ServiceReferenceU& reference)
      : ServiceObjectsBase(context, reference) {}
};

}  // namespace cppmicroservices
