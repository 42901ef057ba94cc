#pragma once

#include "cppmicroservices/ServiceInterface.h"
#include "cppmicroservices/ServiceRegistration.h"

namespace cppmicroservices {

class Bundle;

/// Makes one service object for each bundle that uses the service (see PrototypeServiceFactory for one per
/// request). Both methods may be called by any thread, for different bundles at the same time; no lock is held.
class US_Framework_EXPORT ServiceFactory {
 public:
  virtual ~ServiceFactory() = default;

  /// Makes the object for a bundle that gets the service and does not hold it yet.
  /// \return the object; it has to implement all the interfaces of the registration
  virtual InterfaceMapConstPtr GetService(const Bundle& bundle, const ServiceRegistrationBase& registration) = 0;

  /// Takes the object back when the bundle has released the service or was stopped, or the service was unregistered.
  virtual void UngetService(const Bundle& bundle, const ServiceRegistrationBase& registration,
                            const InterfaceMapConstPtr& service) = 0;
};

}  // namespace cppmicroservices
