#pragma once

#include <string>

#include "cppmicroservices/AnyMap.h"

namespace cppmicroservices::service::cm {

/// A service that receives every configuration of the factory PID with which it was registered (`service.pid`).
class ManagedServiceFactory {
 public:
  virtual ~ManagedServiceFactory() noexcept = default;

  /// Is called on the Configuration Admin's thread, one notification at a time, with the current properties. Exceptions
  /// are swallowed.
  virtual void Updated(const std::string& pid, const AnyMap& properties) = 0;

  /// Is called when the configuration was removed, or the Configuration Admin is stopping. Exceptions are swallowed.
  virtual void Removed(const std::string& pid) = 0;
};

}  // namespace cppmicroservices::service::cm
