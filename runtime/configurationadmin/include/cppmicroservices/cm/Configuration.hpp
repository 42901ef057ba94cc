#pragma once

#include <future>
#include <memory>
#include <string>
#include <utility>

#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/ThreadpoolSafeFuture.h"

namespace cppmicroservices::service::cm {

/// The properties of one PID. Changes are delivered to the services for that PID later, on the Configuration Admin's
/// own thread. Any thread may use it. Once the configuration is removed, every method but GetInstanceCount() throws
/// std::runtime_error.
class Configuration {
 public:
  virtual ~Configuration() noexcept = default;

  /// Returns the configuration's PID.
  virtual std::string GetPid() const = 0;

  /// Returns the PID of the factory to which the configuration belongs; an empty text if it belongs to none.
  virtual std::string GetFactoryPid() const = 0;

  /// Returns a copy of the properties.
  virtual AnyMap GetProperties() const = 0;

  /// Returns how often this object was updated.
  virtual unsigned long GetChangeCount() const = 0;

  /// Updates as Update(); the future may be waited for inside a notification.
  virtual std::shared_ptr<ThreadpoolSafeFuture> SafeUpdate(AnyMap properties = AnyMap{
                                                               AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS}) = 0;

  /// Replaces the properties. Does not wait for the delivery.
  /// \return a future that becomes ready when all services were notified
  virtual std::shared_future<void> Update(AnyMap properties = AnyMap{AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS}) = 0;

  /// Updates as UpdateIfDifferent(); the future may be waited for inside a notification.
  virtual std::pair<bool, std::shared_ptr<ThreadpoolSafeFuture>> SafeUpdateIfDifferent(
      AnyMap properties = AnyMap{AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS}) = 0;

  /// Replaces the properties unless they are equal to the current ones.
  /// \return whether they were replaced, and the future of Update()
  virtual std::pair<bool, std::shared_future<void>> UpdateIfDifferent(
      AnyMap properties = AnyMap{AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS}) = 0;

  /// Removes as Remove(); the future may be waited for inside a notification.
  virtual std::shared_ptr<ThreadpoolSafeFuture> SafeRemove() = 0;

  /// Removes the configuration for good; another one of the same PID may be created at once.
  /// \return a future that becomes ready when all services were notified
  virtual std::shared_future<void> Remove() = 0;

  /// Returns the number of configurations that this PID has had, this one included.
  virtual unsigned long GetInstanceCount() = 0;
};

}  // namespace cppmicroservices::service::cm
