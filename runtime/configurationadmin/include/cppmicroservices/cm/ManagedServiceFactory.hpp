#pragma once

#include <string>

#include "cppmicroservices/AnyMap.h"

namespace cppmicroservices::service::cm {

/// A service that wants every configuration of the factory PID it was registered with (`service.pid`).
class ManagedServiceFactory {
 public:
  virtual ~ManagedServiceFactory() noexcept = default;

  /// Called on the Configuration Admin's thread, one notification at a time, with the newest
  /// properties. Exceptions are dropped.
  virtual void Updated(const std::string& pid, const AnyMap& properties) = 0;

  /// The configuration is gone, or the Configuration Admin is about to be.
  virtual void Removed(const std::string& pid) = 0;
};

}  // namespace cppmicroservices::service::cm
