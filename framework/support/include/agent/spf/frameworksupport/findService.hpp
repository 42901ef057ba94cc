#pragma once

#include <memory>
#include <stdexcept>

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

}  // namespace agent::spf::frameworksupport
