#pragma once

#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/ServiceReference.h>

namespace agent::spf::frameworksupport {

/// Looks up a service for one use. Keep the pointer for that use only, since services are registered and unregistered
/// at any time.
/// \return the highest ranking service of the class; null if none is registered or the context is no longer valid
template <class Service>
std::shared_ptr<Service> findService(cppmicroservices::BundleContext context) {
  try {
    const auto reference = context.GetServiceReference<Service>();
    return reference ? context.GetService(reference) : nullptr;
  } catch (const std::invalid_argument&) {
    return nullptr;  // unregistered between the two calls
  } catch (const std::runtime_error&) {
    return nullptr;  // the bundle was stopped
  }
}

/// Looks up all services of a class for one use.
/// \return without those that are unregistered meanwhile; empty if the context is no longer valid
template <class Service>
std::vector<std::shared_ptr<Service>> findServices(cppmicroservices::BundleContext context) {
  std::vector<std::shared_ptr<Service>> services;
  try {
    for (const auto& reference : context.GetServiceReferences<Service>()) {
      try {
        if (auto service = context.GetService(reference)) {
          services.push_back(std::move(service));
        }
      } catch (const std::invalid_argument&) {
        // Unregistered between the two calls.
      }
    }
  } catch (const std::runtime_error&) {
    services.clear();  // the bundle was stopped
  }
  return services;
}

}  // namespace agent::spf::frameworksupport
