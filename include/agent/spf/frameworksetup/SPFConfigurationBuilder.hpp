#pragma once

#include <memory>
#include <set>
#include <string>
#include <vector>

#include <cppmicroservices/Any.h>
#include <boost/property_tree/ptree.hpp>

#include "agent/spf/frameworksetup/SPFConfiguration.hpp"
#include "agent/spf/frameworksetup/SPFServiceInterfaceConfiguration.hpp"
#include "agent/spf/frameworksetup/SPFServicePublisherConfiguration.hpp"

namespace agent::spf::frameworksetup {

class SPFConfigurationBuilderImpl;

/// Collects the service interfaces, service publishers and mappings of one configuration, and
/// publishes it with `build()`.
///
/// Editing only changes the builder: nothing is checked and nothing reaches the framework before
/// `build()`. Adding an entry whose `uniqueID` exists replaces that entry; removing one that does not
/// exist does nothing. Every editing operation returns the builder, so that calls chain, and throws
/// nothing but `std::bad_alloc` and `std::length_error`; a failing one leaves the entry concerned as
/// it was.
///
/// A builder that `SPFConfiguration::modify()` returned owns the identity of a published
/// configuration: dropping it without a successful `build()` withdraws that configuration.
///
/// One thread at a time may use a builder; different builders are independent. Builders must be
/// destroyed before `main` returns, since the runtime's own statics are destroyed after it.
class [[gnu::visibility("default")]] SPFConfigurationBuilder {
 public:
  /// \param configurationID  identity of the configuration; with the empty one, the configuration
  ///                         gets a generated identity when it is published
  SPFConfigurationBuilder(std::string configurationID = "");

  /// Takes over the contents; `other` becomes an empty builder with the empty ID, ready for use.
  /// \throws std::bad_alloc, with both builders unchanged
  SPFConfigurationBuilder(SPFConfigurationBuilder && other);

  /// The same. What this builder held is dropped, and with it the configuration whose identity it owned.
  SPFConfigurationBuilder& operator=(SPFConfigurationBuilder&& other);

  ~SPFConfigurationBuilder();

  /// Adds an interface, or replaces the one of the same ID. A replaced one keeps its mark for all
  /// publishers and its mappings.
  SPFConfigurationBuilder& addServiceInterface(SPFServiceInterfaceConfiguration serviceInterface);

  /// The same, with the members of the interface.
  SPFConfigurationBuilder& addServiceInterface(std::string uniqueID, std::string name,
                                               boost::property_tree::ptree requestedProperties);

  /// Adds or replaces an interface and marks it for every publisher of the configuration, whichever
  /// publishers there are when it is built.
  SPFConfigurationBuilder& addServiceInterfaceToAllServicePublishers(SPFServiceInterfaceConfiguration serviceInterface);

  /// The same, with the members of the interface.
  SPFConfigurationBuilder& addServiceInterfaceToAllServicePublishers(std::string uniqueID, std::string name,
                                                                     boost::property_tree::ptree requestedProperties);

  /// Maps an interface to a publisher, which does not have to exist yet, then adds or replaces the
  /// interface. If adding the interface fails, the mapping stays.
  SPFConfigurationBuilder& addServiceInterfaceToServicePublisher(const std::string& servicePublisherID,
                                                                 SPFServiceInterfaceConfiguration serviceInterface);

  /// The same, with the members of the interface.
  SPFConfigurationBuilder& addServiceInterfaceToServicePublisher(const std::string& servicePublisherID,
                                                                 std::string uniqueID, std::string name,
                                                                 boost::property_tree::ptree requestedProperties);

  /// Maps an interface to a publisher. Neither has to exist before `build()`.
  SPFConfigurationBuilder& addServiceMapping(const std::string& serviceInterfaceID,
                                             const std::string& servicePublisherID);

  /// Adds a publisher, or replaces the one of the same ID.
  SPFConfigurationBuilder& addServicePublisher(SPFServicePublisherConfiguration servicePublisher);

  /// The same with text endpoints, which the publisher gets in ascending order.
  SPFConfigurationBuilder& addServicePublisher(
      std::string uniqueID, std::string name, std::set<std::string> endpointsToConnectTo,
      std::set<std::string> endpointsToBindTo, std::string importFilter, std::string exportFilter);

  /// The same with endpoints of any type, which keep their order.
  SPFConfigurationBuilder& addServicePublisherAny(
      std::string uniqueID, std::string name, std::vector<cppmicroservices::Any> endpointsToConnectTo,
      std::vector<cppmicroservices::Any> endpointsToBindTo, std::string importFilter, std::string exportFilter);

  /// Removes an interface and every mapping that names it.
  SPFConfigurationBuilder& removeServiceInterface(const std::string& uniqueID);

  /// Removes a publisher and every mapping that names it.
  SPFConfigurationBuilder& removeServicePublisher(const std::string& uniqueID);

  /// Removes one mapping.
  SPFConfigurationBuilder& removeServiceMapping(const std::string& serviceInterfaceID,
                                                const std::string& servicePublisherID);

  /// Removes an interface's mark for all publishers. The interface and its mappings stay.
  SPFConfigurationBuilder& undoMappingOfServiceInterfaceToAllServicePublishers(const std::string& uniqueID);

  /// Checks the mappings, then publishes the configuration.
  ///
  /// First installs and starts the framework's bundles, every time. Returns when Configuration Admin
  /// has been handed the configuration; it does not wait for the framework. Without a framework or
  /// without Configuration Admin the configuration is published nowhere, and the handle's ID is
  /// empty.
  ///
  /// The builder keeps its entries, but its ID moves to the configuration: building once more
  /// publishes another configuration, with a generated ID.
  ///
  /// \return the handle that owns the published configuration
  /// \throws std::runtime_error when a mapping names an interface or publisher that the builder does
  ///         not have; the builder is unchanged then and can be repaired
  /// \throws std::runtime_error when Configuration Admin answers no configuration, and whatever else
  ///         publishing throws; the builder has lost its ID then
  [[nodiscard]] SPFConfiguration build();

 private:
  friend class SPFConfiguration;
  [[gnu::visibility("hidden")]] explicit SPFConfigurationBuilder(
      std::unique_ptr<SPFConfigurationBuilderImpl> impl) noexcept;

  std::unique_ptr<SPFConfigurationBuilderImpl> impl_;
};

}  // namespace agent::spf::frameworksetup
