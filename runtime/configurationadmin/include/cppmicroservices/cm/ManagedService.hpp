#pragma once

#include "cppmicroservices/AnyMap.h"

namespace cppmicroservices::service::cm {

/// A service that receives the configuration of the PID with which it was registered (`service.pid`).
class ManagedService {
 public:
  virtual ~ManagedService() noexcept = default;

  /// Is called on the Configuration Admin's thread, one notification at a time, with the current properties; with empty
  /// ones if the configuration was removed. Exceptions are swallowed.
  virtual void Updated(const AnyMap& properties) = 0;
};

}  // namespace cppmicroservices::service::cm
