#include "model/SPFConfigurationBuilderImpl.hpp"

#include <utility>

#include "tracking/removeFromConfigurationAdmin.hpp"

namespace agent::spf::frameworksetup {

SPFConfigurationBuilderImpl::SPFConfigurationBuilderImpl(std::string id) : configurationID(std::move(id)) {}

SPFConfigurationBuilderImpl::SPFConfigurationBuilderImpl(std::uint32_t count, const ServiceInterfaces& interfaces,
                                                         const ServicePublishers& publishers,
                                                         const ServiceMappings& mappings)
    : modificationCount(count),
      serviceInterfaces(interfaces),
      servicePublishers(publishers),
      serviceMappings(mappings) {}

SPFConfigurationBuilderImpl::~SPFConfigurationBuilderImpl() {
  if (seededFromConfiguration) {
    removeFromConfigurationAdminQuietly(configurationID);
  }
}

}  // namespace agent::spf::frameworksetup
