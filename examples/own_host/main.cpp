// A host without spf::host_services: it runs the framework itself, and defines the three functions that the library
// calls in its host (hostServices.cpp), so the library finds these instead of those of the host services library.
//
//   spf_example_own_host ROOT CONFIGURATION-ADMIN-BUNDLE
//
// ROOT is the tree that has the framework's bundles in bin/win64/spf/.

#include <iostream>

#include <agent/spf/frameworksetup/SPFConfigurationBuilder.hpp>
#include "OwnHost.hpp"

using namespace std::chrono_literals;

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: " << argv[0] << " ROOT CONFIGURATION-ADMIN-BUNDLE" << std::endl;
    return 2;
  }
  const OwnHost host(argv[1], argv[2]);
  auto weather = agent::spf::frameworksetup::SPFConfigurationBuilder("weather")
                     .addServiceInterface("temperature", "weather.Temperature", {})
                     .addServicePublisher("station", "rpcservicepublisher", {}, {"tcp://127.0.0.1:*"}, "", "")
                     .addServiceMapping("temperature", "station")
                     .build();
  if (!weather.waitForAllEndpoints(10s, "station") || !weather.waitForAllServices(10s, "station") ||
      !weather.waitForAllServicesToBeUnpublished(10s, "station")) {
    return 1;
  }
  std::cout << "the own host has installed " << host.installedDirectories() << " directories" << std::endl;
}
