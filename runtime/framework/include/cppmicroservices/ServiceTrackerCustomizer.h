#pragma once

#include <memory>
#include <stdexcept>
#include <type_traits>

#include "cppmicroservices/ServiceReference.h"

namespace cppmicroservices {

namespace detail {

/// The object of type T that a tracker keeps for a service of interface S. Without a customizer it can only be the
/// service itself.
template <class S, class T>
struct TrackingTypes {
  using ServiceType = S;
  using TrackedType = T;
  using TrackedParamType = T;

  template <class Service>
  static std::shared_ptr<TrackedParamType> ConvertToTrackedType(const Service& service) {
    if constexpr (std::is_same_v<S, T>) {
      return service;
    } else {
      throw std::runtime_error("a ServiceTracker whose tracked type is not the service's needs a customizer");
    }
  }
};

/// For a service as a whole, a tracker keeps the map of its interfaces.
template <>
struct TrackingTypes<void, void> {
  using ServiceType = void;
  using TrackedType = void;
  using TrackedParamType = const InterfaceMap;

  static std::shared_ptr<TrackedParamType> ConvertToTrackedType(const std::shared_ptr<TrackedParamType>& service) {
    return service;
  }
};

}  // namespace detail

/// Makes the objects that a ServiceTracker keeps for the services. It is called without locks, on the thread that opens
/// or closes the tracker or changes the service; several threads may call it at once for different services.
template <class S, class T = S>
struct ServiceTrackerCustomizer {
  using TypeTraits = detail::TrackingTypes<S, T>;
  using TrackedParamType = typename TypeTraits::TrackedParamType;

  virtual ~ServiceTrackerCustomizer() = default;

  /// Returns the object to keep; null if the service is not to be tracked.
  virtual std::shared_ptr<TrackedParamType> AddingService(const ServiceReference<S>& reference) = 0;
  /// Is called when the service's properties have changed.
  virtual void ModifiedService(const ServiceReference<S>& reference,
                               const std::shared_ptr<TrackedParamType>& service) = 0;
  /// Is called when the service is no longer tracked.
  virtual void RemovedService(const ServiceReference<S>& reference,
                              const std::shared_ptr<TrackedParamType>& service) = 0;
};

}  // namespace cppmicroservices
