#pragma once

#include "cppmicroservices/AnyMap.h"

namespace cppmicroservices::service::cm {

/// A service that wants the configuration of the PID it was registered with (`service.pid`).
class ManagedService {
 public:
  virtual ~ManagedService() noexcept = default;

  /// Called on the Configuration Admin's thread, one notification at a time, with the newest
  /// properties; with none when the configuration was removed. Exceptions are dropped.
  virtual void Updated(const AnyMap& properties) = 0;
};

}  // namespace cppmicroservices::service::cm
