// Names a property that a service has to have at run time, beside what is requested of it.

#include <iostream>

#include <agent/host/host.hpp>
#include <agent/spf/frameworksetup/SPFConfigurationBuilder.hpp>
#include <agent/spf/frameworksetup/addRequiredRuntimeServiceProperties.hpp>
#include <boost/property_tree/json_parser.hpp>

using namespace std::chrono_literals;
using agent::spf::frameworksetup::SPFConfigurationBuilder;

int main() {
  boost::property_tree::ptree properties;
  properties.put("unit", "celsius");
  agent::spf::frameworksetup::addRequiredRuntimeServiceProperties(properties, "site", "north");

  const agent::host::services::Host host;
  auto weather = SPFConfigurationBuilder("weather")
                     .addServiceInterface("temperature", "weather.Temperature", properties)
                     .addServicePublisher("station", "rpcservicepublisher", {}, {"tcp://127.0.0.1:*"}, "", "")
                     .addServiceMapping("temperature", "station")
                     .build();
  if (!weather.waitForAllServices(10s, "station")) {
    return 1;
  }
  for (const auto& interface : weather.getServiceInterfaceConfigurations()) {
    std::cout << interface.name << " is published with" << std::endl;
    write_json(std::cout, interface.requestedProperties);
  }
}
