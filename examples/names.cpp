// Connects to names instead of addresses. A publisher's name is known in its own process as soon as its endpoint is
// bound; a table gives names to everything else.

#include <iostream>
#include <string>

#include <cppmicroservices/AnyMap.h>
#include <unistd.h>
#include <agent/host/host.hpp>
#include <agent/spf/frameworksetup/SPFConfigurationBuilder.hpp>

using namespace std::chrono_literals;
using cppmicroservices::AnyMap;

int main() {
  const std::string address = "ipc://@spf-example-names-" + std::to_string(getpid());
  AnyMap table(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
  table["archive"] = address;
  agent::host::services::HostOptions options;
  options.frameworkProperties["spf.discovery"] = table;

  const agent::host::services::Host host(options);
  auto weather = agent::spf::frameworksetup::SPFConfigurationBuilder("weather")
                     .addServicePublisher("cellar", "rpcservicepublisher", {}, {address}, "", "")
                     .addServicePublisher("station", "rpcservicepublisher", {}, {"tcp://127.0.0.1:*"}, "", "")
                     .addServicePublisher("display", "rpcservicepublisher", {"archive", "station"}, {}, "", "")
                     .build();
  if (!weather.waitForAllEndpoints(10s, "display")) {
    return 1;
  }
  std::cout << "display is connected to archive and station" << std::endl;
}
