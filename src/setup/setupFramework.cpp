#include "agent/spf/frameworksetup/setupFramework.hpp"

#include <utility>

#include "model/endpointList.hpp"
#include "model/servicePublisherNames.hpp"
#include "publish/SPFConfigurationImpl.hpp"

namespace agent::spf::frameworksetup {

void setupFramework() {
  ServiceInterfaces serviceInterfaces;
  ServicePublishers servicePublishers;
  ServiceMappings serviceMappings;
  auto endpointsToBindTo = endpointList({});
  auto endpointsToConnectTo = endpointList({"zephraConnectorDiscovery", "quintafexServiceHostDiscovery"});
  servicePublishers.insert({"LegacySetupFramework", legacyServicePublisherName, std::move(endpointsToConnectTo),
                            std::move(endpointsToBindTo), "", ""});

  SPFConfigurationImpl configuration("LegacySetupFramework", 1, std::move(serviceInterfaces),
                                     std::move(servicePublishers), std::move(serviceMappings));
  // Without its ID the object withdraws nothing when it is destroyed here: the configuration has to
  // outlive this call.
  configuration.configurationID.clear();
}

}  // namespace agent::spf::frameworksetup
