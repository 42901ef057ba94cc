#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <cppmicroservices/Any.h>

#include "agent/spf/frameworksetup/SPFServiceInterfaceConfiguration.hpp"
#include "agent/spf/frameworksetup/SPFServicePublisherConfiguration.hpp"

namespace agent::spf::frameworksetup {

class SPFConfigurationBuilder;
class SPFConfigurationImpl;

/// Owns one published configuration: reads it, waits for the framework to act on it, modifies it, and
/// withdraws it when the handle releases it.
///
/// Destroying a handle, resetting it, or moving another one over it withdraws its configuration from
/// Configuration Admin, without waiting and without reporting failures. Two configurations of one ID
/// are one object there, and dropping either handle withdraws it for both; `modify()` is the way to
/// pass an ID on. A runtime may lose a configuration that is withdrawn and at once published again
/// under the same ID: wait for the services to be unpublished first.
///
/// On one handle, `waitForAllEndpoints`, `waitForAllServices` and `listOutstandingEndpoints` may run
/// at the same time, on any number of threads. Everything else, `waitForAllServicesToBeUnpublished`
/// included, must overlap with nothing on the same handle. Different handles are independent. Handles
/// must be destroyed before `main` returns, since the runtime's own statics are destroyed after it.
class [[gnu::visibility("default")]] SPFConfiguration {
 public:
  /// Makes an empty handle.
  SPFConfiguration() noexcept;

  /// Takes the other's configuration; the other becomes empty.
  SPFConfiguration(SPFConfiguration && other) noexcept;

  /// Takes the other's configuration, then withdraws the one that this handle held.
  SPFConfiguration& operator=(SPFConfiguration&& other) noexcept;

  /// Withdraws the configuration, if the handle holds one. Failures are dropped.
  ~SPFConfiguration();

  /// Returns whether the handle holds no configuration (default-constructed, moved-from or reset). A
  /// configuration without entries is a configuration all the same.
  [[nodiscard]] bool empty() const noexcept;

  /// Returns the configuration's ID: empty after `modify()`, after a wait for the services to be
  /// unpublished, and when there was no Configuration Admin to publish in.
  /// \pre not `empty()`
  [[nodiscard]] const std::string getConfigurationID() const;

  /// Returns copies of all interfaces, in no particular order; none for an empty handle.
  [[nodiscard]] std::vector<SPFServiceInterfaceConfiguration> getServiceInterfaceConfigurations() const;

  /// Returns copies of all publishers, in no particular order; none for an empty handle.
  [[nodiscard]] std::vector<SPFServicePublisherConfiguration> getServicePublisherConfigurations() const;

  /// Returns copies of the interfaces that one publisher serves: first those marked for all publishers,
  /// then the mapped ones by ascending ID, none twice. An unknown publisher serves those marked for all.
  [[nodiscard]] std::vector<SPFServiceInterfaceConfiguration> getServiceInterfaceConfigurationsForServicePublisher(
      const std::string& servicePublisherID) const;

  /// Moves the configuration's identity into a builder that holds copies of its entries. Building
  /// publishes the next revision under the same ID; dropping the builder unbuilt withdraws the
  /// configuration. The handle keeps its entries and can still be read, but has no ID any more:
  ///
  ///     configuration = configuration.modify().addServicePublisher(...).build();
  ///
  /// \return a builder with the empty ID for an empty handle
  /// \throws std::bad_alloc, with the handle unchanged
  [[nodiscard]] SPFConfigurationBuilder modify();

  /// Blocks until the publisher has bound and connected all its endpoints, or the time is up.
  ///
  /// Any number of threads may wait, for endpoints and for services. Zero or negative time-outs look
  /// once and do not block; very large ones wait without a practical limit.
  /// \param timeout             in milliseconds, measured on the steady clock
  /// \param servicePublisherID  `uniqueID` of a publisher of this configuration
  /// \return true when all endpoints are up; false when the time is up, for an empty handle, and when
  ///         there was no Configuration Admin to publish in
  /// \throws the framework's error for the publisher, on this and every later wait
  /// \throws std::out_of_range for a publisher that the configuration does not have
  [[nodiscard]] bool waitForAllEndpoints(const std::chrono::milliseconds& timeout,
                                         const std::string& servicePublisherID);

  /// Blocks until the publisher has published its services, or the time is up. Does not wait for the
  /// endpoints. Everything else as above.
  [[nodiscard]] bool waitForAllServices(const std::chrono::milliseconds& timeout,
                                        const std::string& servicePublisherID);

  /// Withdraws the whole configuration, then blocks until the named publisher has unpublished its
  /// services, or the time is up.
  ///
  /// The configuration loses its ID, whether withdrawing succeeds or not; failures to withdraw are
  /// logged and dropped. When the wait ends, the events of the other publishers are no longer followed.
  /// Parameters, result and exceptions as above, but nothing else may use the handle meanwhile. A
  /// framework error that the publisher reported earlier is thrown here as well, after the withdrawal.
  /// An exception from registering for the framework's events is thrown before the withdrawal, and
  /// nothing is withdrawn. An exception from a log sink, while a failure to withdraw is logged, is thrown
  /// at once: nothing is waited for, the configuration keeps its ID, and the call may be repeated.
  [[nodiscard]] bool waitForAllServicesToBeUnpublished(const std::chrono::milliseconds& timeout,
                                                       const std::string& servicePublisherID);

  /// Returns the endpoints that the publisher has not brought up yet; does not block.
  /// \return first: the endpoints still to be connected, second: those still to be bound, each in the
  ///         configured order; two empty lists for an empty handle, and when there was no
  ///         Configuration Admin to publish in
  /// \throws std::out_of_range for a publisher that the configuration does not have
  [[nodiscard]] std::pair<std::vector<cppmicroservices::Any>, std::vector<cppmicroservices::Any>>
  listOutstandingEndpoints(const std::string& servicePublisherID);

  /// Withdraws the configuration, if there is one, and leaves the handle empty. Waits for nothing;
  /// failures are dropped.
  void reset() noexcept;

 private:
  friend class SPFConfigurationBuilder;
  [[gnu::visibility("hidden")]] explicit SPFConfiguration(std::unique_ptr<SPFConfigurationImpl> impl) noexcept;

  std::unique_ptr<SPFConfigurationImpl> impl_;
};

}  // namespace agent::spf::frameworksetup
