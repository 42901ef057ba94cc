#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <tuple>
#include <vector>

#include <cppmicroservices/AnyMap.h>

namespace spf::controller {

/// The identity of the factory configuration of one service publisher.
struct PublisherKey {
  std::string factoryPID;
  std::string instance;

  std::string pid() const { return factoryPID + "~" + instance; }

  friend bool operator<(const PublisherKey& left, const PublisherKey& right) {
    return std::tie(left.factoryPID, left.instance) < std::tie(right.factoryPID, right.instance);
  }
};

/// The factory configuration of one service publisher.
struct Publisher {
  PublisherKey key;
  std::string servicePublisherID;
  cppmicroservices::AnyMap properties;
};

/// A publisher that the configuration describes wrongly.
struct UnreadablePublisher {
  std::string servicePublisherID;
  std::exception_ptr error;
};

/// One revision of a configuration, split into its publishers.
struct Revision {
  std::uint32_t modificationCount = 0;
  std::vector<Publisher> publishers;
  std::vector<UnreadablePublisher> unreadable;
};

/// Returns the modification count among a configuration's properties.
/// \throws std::out_of_range or cppmicroservices::BadAnyCastException if there is none
std::uint32_t modificationCountOf(const cppmicroservices::AnyMap& properties);

/// Splits a configuration into its publishers. The properties of each are `uniqueID`, `name`, `config`, `services`
/// (the entries of the interfaces that are mapped to it), `configurationID` and `modificationCount`.
/// \param pid  the configuration's PID; part of the publishers' instance names
/// \throws std::out_of_range or cppmicroservices::BadAnyCastException if its lists cannot be read
Revision readRevision(const std::string& pid, const cppmicroservices::AnyMap& properties);

}  // namespace spf::controller
