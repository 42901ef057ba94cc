#pragma once

#include <future>
#include <memory>
#include <string>
#include <utility>

#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/ThreadpoolSafeFuture.h"

namespace cppmicroservices::service::cm {

/// The properties of one PID, and how to change them. Every change is told to the services that
/// want to know of it, later and on a thread of the Configuration Admin's own. May be used by several
/// threads. Once removed, everything but GetInstanceCount() throws std::runtime_error.
class Configuration {
 public:
  virtual ~Configuration() noexcept = default;

  virtual std::string GetPid() const = 0;

  /// The PID of the factory that this is a configuration of; empty if of none.
  virtual std::string GetFactoryPid() const = 0;

  /// A copy of the properties.
  virtual AnyMap GetProperties() const = 0;

  /// How often this object was updated.
  virtual unsigned long GetChangeCount() const = 0;

  /// As Update(); the future may be waited for inside a notification.
  virtual std::shared_ptr<ThreadpoolSafeFuture> SafeUpdate(AnyMap properties = AnyMap{
                                                               AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS}) = 0;

  /// Replaces the properties. Never waits for those who are told of it.
  /// \return ready when all of them were told
  virtual std::shared_future<void> Update(AnyMap properties = AnyMap{AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS}) = 0;

  /// As UpdateIfDifferent(); the future may be waited for inside a notification.
  virtual std::pair<bool, std::shared_ptr<ThreadpoolSafeFuture>> SafeUpdateIfDifferent(
      AnyMap properties = AnyMap{AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS}) = 0;

  /// Replaces the properties unless they are equal to the ones there are.
  /// \return whether they were replaced, and the future of Update()
  virtual std::pair<bool, std::shared_future<void>> UpdateIfDifferent(
      AnyMap properties = AnyMap{AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS}) = 0;

  /// As Remove(); the future may be waited for inside a notification.
  virtual std::shared_ptr<ThreadpoolSafeFuture> SafeRemove() = 0;

  /// Takes the configuration away for good; another one of the same PID may be made at once.
  /// \return ready when all were told
  virtual std::shared_future<void> Remove() = 0;

  /// How many objects there were for this PID, this one included.
  virtual unsigned long GetInstanceCount() = 0;
};

}  // namespace cppmicroservices::service::cm
