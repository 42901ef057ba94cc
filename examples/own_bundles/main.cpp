// A host that installs a folder of bundles of its own: one with code, which follows the framework's events
// (Journal.cpp), and one without, whose manifest offers a service interface (wind.json).
//
//   spf_example_own_bundles FOLDER

#include <filesystem>
#include <iostream>

#include <agent/host/host.hpp>
#include <agent/host/services.hpp>
#include <agent/spf/frameworksetup/SPFConfigurationBuilder.hpp>

using namespace std::chrono_literals;

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: " << argv[0] << " FOLDER" << std::endl;
    return 2;
  }
  const agent::host::services::Host host;
  agent::host::filesystem::path folder;
  // Relative to the root, since only letters of ASCII become wide ones in every locale.
  folder.append(std::filesystem::relative(argv[1], host.installationRoot()).wstring());
  for (const auto& bundle : agent::host::services::installAndStart(folder)) {
    std::cout << bundle.GetSymbolicName() << " is installed" << std::endl;
  }
  auto weather = agent::spf::frameworksetup::SPFConfigurationBuilder("weather")
                     .addServiceInterface("wind", "weather.Wind", {})
                     .addServicePublisher("mast", "rpcservicepublisher", {}, {"tcp://127.0.0.1:*"}, "", "")
                     .addServiceMapping("wind", "mast")
                     .build();
  if (!weather.waitForAllServices(10s, "mast") || !weather.waitForAllServicesToBeUnpublished(10s, "mast")) {
    return 1;
  }
}
