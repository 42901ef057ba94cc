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

/// One version of one publisher's configuration.
struct PublisherRevision {
  Kind kind;
  agent::spf::frameworkinterfaces::EventSink::Origin origin;
  std::vector<cppmicroservices::Any> endpointsToBindTo;
  std::vector<cppmicroservices::Any> endpointsToConnectTo;
  std::string importFilter;
  std::string exportFilter;
  std::vector<MappedService> services;
};

/// Who the properties are for and which version they are; what every report needs.
/// \throws std::out_of_range or cppmicroservices::BadAnyCastException
agent::spf::frameworkinterfaces::EventSink::Origin readOrigin(const cppmicroservices::AnyMap& properties);

/// \throws std::out_of_range or cppmicroservices::BadAnyCastException
PublisherRevision readRevision(Kind kind, const cppmicroservices::AnyMap& properties);

}  // namespace spf::publishers
