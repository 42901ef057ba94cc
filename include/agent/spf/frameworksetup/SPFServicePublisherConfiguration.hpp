#pragma once

#include <string>
#include <vector>

#include <cppmicroservices/Any.h>

namespace agent::spf::frameworksetup {

/// One service publisher of a configuration.
///
/// A plain value that owns its members. Two records with the same `uniqueID` (byte by byte) are the
/// same entry of a configuration, whatever their other members hold.
struct SPFServicePublisherConfiguration {
  /// Identity inside one configuration. The framework's answers name publishers by this text alone,
  /// without their configuration, so use one that is unique for the publisher's lifetime.
  std::string uniqueID;

  /// The kind of publisher: "legacyservicepublisher" is the legacy one, every other text the one for
  /// remote calls. Only a publisher named exactly "rpcservicepublisher" has its endpoints tracked.
  std::string name;

  /// Endpoints that the publisher connects to, in the caller's order. Usually each holds a
  /// `std::string`; any value is handed on untouched. An endpoint that is empty, that is a list
  /// or map (`std::vector<Any>`, `AnyMap`) holding an empty value at any depth, or whose type has no
  /// `==` never counts as connected.
  std::vector<cppmicroservices::Any> endpointsToConnectTo;

  /// Endpoints that the publisher binds to; all as above.
  std::vector<cppmicroservices::Any> endpointsToBindTo;

  /// Filter text for what the publisher imports; may be empty.
  std::string importFilter;

  /// Filter text for what the publisher exports; may be empty.
  std::string exportFilter;
};

}  // namespace agent::spf::frameworksetup
