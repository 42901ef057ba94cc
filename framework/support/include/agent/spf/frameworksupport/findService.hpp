#pragma once

#include <memory>
#include <stdexcept>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/ServiceReference.h>

namespace agent::spf::frameworksupport {

/// Looks a service up for one use. Services come and go: keep the pointer for that use only.
/// \return the highest ranking service of the class, or null when there is none, when it went
///         meanwhile, or when the context is no longer valid
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
