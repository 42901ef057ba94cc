#pragma once

#include "cppmicroservices/ServiceFactory.h"

namespace cppmicroservices {

/// Makes a service object for each request through ServiceObjects; requests through
/// BundleContext::GetService still share one object per bundle.
struct US_Framework_EXPORT PrototypeServiceFactory : public ServiceFactory {
  InterfaceMapConstPtr GetService(const Bundle& bundle, const ServiceRegistrationBase& registration) override = 0;
  void UngetService(const Bundle& bundle, const ServiceRegistrationBase& registration,
                    const InterfaceMapConstPtr& service) override = 0;
};

}  // namespace cppmicroservices
