// Publishes a configuration, waits until the framework has carried it out, and withdraws it.

#include <iostream>

#include <agent/host/host.hpp>
#include <agent/spf/frameworksetup/SPFConfigurationBuilder.hpp>

using namespace std::chrono_literals;

int main() {
  const agent::host::services::Host host;  // runs the process-wide framework for as long as it lives
  auto weather = agent::spf::frameworksetup::SPFConfigurationBuilder("weather")
                     .addServiceInterface("temperature", "weather.Temperature", {})
                     .addServicePublisher("station", "rpcservicepublisher", {}, {"tcp://127.0.0.1:*"}, "", "")
                     .addServiceMapping("temperature", "station")
                     .build();
  if (!weather.waitForAllEndpoints(10s, "station") || !weather.waitForAllServices(10s, "station")) {
    std::cerr << weather.listOutstandingEndpoints("station").second.size() << " endpoints are still to be bound\n";
    return 1;
  }
  std::cout << weather.getConfigurationID() << " is published" << std::endl;
  const bool withdrawn = weather.waitForAllServicesToBeUnpublished(10s, "station");
  std::cout << (withdrawn ? "weather is withdrawn" : "the framework does not answer") << std::endl;
}
