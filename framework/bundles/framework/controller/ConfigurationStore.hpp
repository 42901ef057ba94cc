#pragma once

#include <chrono>
#include <future>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/BundleContext.h>
#include "Revision.hpp"
#include "StopSignal.hpp"

namespace spf::controller {

/// Reads and writes configurations through Configuration Admin, which is looked up for each operation; without it
/// nothing is written and nothing is found.
///
/// Used by one thread, which must not be a thread of Configuration Admin, because writing may wait for an earlier
/// removal. Configuration objects are held for one operation only.
class ConfigurationStore {
 public:
  ConfigurationStore(cppmicroservices::BundleContext context, const StopSignal& stop);

  /// Writes a publisher's factory configuration. Waits for the delivery of an earlier removal of the same PID, since
  /// Configuration Admin may lose a configuration that is created while the removal of its predecessor is under way.
  /// Returns without writing if a stop is requested.
  void write(const Publisher& publisher);

  /// Removes a publisher's factory configuration without waiting for the delivery.
  /// \return whether a service is registered that the removal can be delivered to
  bool remove(const PublisherKey& key);

  /// Returns the properties that Configuration Admin holds for a PID.
  std::optional<cppmicroservices::AnyMap> find(const std::string& pid) const;

  /// Blocks until every removal is delivered or the deadline has passed.
  void awaitRemovals(std::chrono::steady_clock::time_point deadline);

 private:
  bool awaitRemoval(const std::string& pid);
  bool tryWrite(const Publisher& publisher);
  bool hasFactory(const std::string& factoryPID) const;
  void forgetDelivered();

  const cppmicroservices::BundleContext context_;
  const StopSignal& stop_;
  std::map<std::string, std::shared_future<void>> removals_;
};

}  // namespace spf::controller
