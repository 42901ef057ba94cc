#include "model/validateServiceMappings.hpp"

#include <stdexcept>

namespace agent::spf::frameworksetup {

void validateServiceMappings(const ServiceInterfaces& serviceInterfaces, const ServicePublishers& servicePublishers,
                             const ServiceMappings& serviceMappings) {
  for (const auto& mapping : serviceMappings) {
    if (serviceInterfaces.count(mapping.serviceInterfaceID) == 0) {
      throw std::runtime_error("ServiceMapping references an unknown ServiceInterface Configuration " +
                               mapping.serviceInterfaceID);
    }
    if (servicePublishers.count(mapping.servicePublisherID) == 0) {
      throw std::runtime_error("ServiceMapping references an unknown ServicePublisher Configuration " +
                               mapping.servicePublisherID);
    }
  }
}

}  // namespace agent::spf::frameworksetup
