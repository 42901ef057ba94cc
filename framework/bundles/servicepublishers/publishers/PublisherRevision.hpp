#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>
#include "agent/spf/frameworkinterfaces/EventSink.hpp"

namespace spf::publishers {

enum class Kind { rpc, legacy };

/// A service interface that is mapped to a publisher.
struct MappedService {
  std::string uniqueID;
  std::string name;
};

/// One revision of a publisher's configuration.
struct PublisherRevision {
  Kind kind;
  agent::spf::frameworkinterfaces::EventSink::Origin origin;
  std::vector<cppmicroservices::Any> endpointsToBindTo;
  std::vector<cppmicroservices::Any> endpointsToConnectTo;
  std::string importFilter;
  std::string exportFilter;
  std::vector<MappedService> services;
  std::string configurationID;  ///< of the configuration that the publisher belongs to; empty if unknown
};

/// Reads the publisher's ID and the modification count, which every report contains.
/// \throws std::out_of_range or cppmicroservices::BadAnyCastException
agent::spf::frameworkinterfaces::EventSink::Origin readOrigin(const cppmicroservices::AnyMap& properties);

/// Reads a revision from the properties of a factory configuration.
/// \throws std::out_of_range or cppmicroservices::BadAnyCastException
PublisherRevision readRevision(Kind kind, const cppmicroservices::AnyMap& properties);

}  // namespace spf::publishers
