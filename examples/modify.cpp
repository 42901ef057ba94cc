// Changes a configuration while it is published. What both revisions have keeps its connections.

#include <iostream>

#include <agent/host/host.hpp>
#include <agent/spf/frameworksetup/SPFConfigurationBuilder.hpp>

using namespace std::chrono_literals;
using agent::spf::frameworksetup::SPFConfigurationBuilder;

int main() {
  const agent::host::services::Host host;
  auto weather = SPFConfigurationBuilder("weather")
                     .addServiceInterface("temperature", "weather.Temperature", {})
                     .addServicePublisher("station", "rpcservicepublisher", {}, {"tcp://127.0.0.1:*"}, "", "")
                     .addServiceMapping("temperature", "station")
                     .build();
  if (!weather.waitForAllServices(10s, "station")) {
    return 1;
  }
  std::cout << "revision 1 is published" << std::endl;

  // The builder owns the configuration's identity until it is built: if it were dropped, the configuration would be
  // withdrawn. Waits concern the new revision from here on.
  weather = weather.modify()
                .addServiceInterfaceToServicePublisher("station", "humidity", "weather.Humidity", {})
                .addServicePublisher("mast", "rpcservicepublisher", {}, {"tcp://127.0.0.1:*"}, "", "")
                .build();
  for (const auto& publisher : weather.getServicePublisherConfigurations()) {
    if (!weather.waitForAllEndpoints(10s, publisher.uniqueID) || !weather.waitForAllServices(10s, publisher.uniqueID)) {
      return 1;
    }
  }
  std::cout << "revision 2 is published, and station has "
            << weather.getServiceInterfaceConfigurationsForServicePublisher("station").size() << " interfaces"
            << std::endl;
}
