#pragma once

#include "model/ConfigurationEntries.hpp"

namespace agent::spf::frameworksetup {

/// Checks that every mapping names an interface and a publisher that are there.
/// \throws std::runtime_error for the lowest mapping, by interface and publisher ID, that does not
void validateServiceMappings(const ServiceInterfaces& serviceInterfaces, const ServicePublishers& servicePublishers,
                             const ServiceMappings& serviceMappings);

}  // namespace agent::spf::frameworksetup
