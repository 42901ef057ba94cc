#pragma once

#include <cstdint>

#include <cppmicroservices/AnyMap.h>

#include "model/ConfigurationEntries.hpp"

namespace agent::spf::frameworksetup {

/// The properties of one configuration, as the framework's bundles read them.
///
/// Lists the interfaces, the publishers and the pairs of both that are mapped: first, in the order
/// of the interfaces, those that a mark for all publishers implies, then the explicit ones in
/// ascending order; no pair twice. Changes and checks nothing.
cppmicroservices::AnyMap encodeConfiguration(std::uint32_t modificationCount,
                                             const ServiceInterfaces& serviceInterfaces,
                                             const ServicePublishers& servicePublishers,
                                             const ServiceMappings& serviceMappings);

}  // namespace agent::spf::frameworksetup
