// One of two processes that connect to each other. In two terminals:
//
//   spf_example_two_processes north tcp://127.0.0.1:5555 tcp://127.0.0.1:5556
//   spf_example_two_processes south tcp://127.0.0.1:5556 tcp://127.0.0.1:5555
//
// The order does not matter: a connection is tried until the peer is there.

#include <iostream>
#include <string>

#include <agent/host/host.hpp>
#include <agent/spf/frameworksetup/SPFConfigurationBuilder.hpp>

using namespace std::chrono_literals;

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "usage: " << argv[0] << " NAME OWN-ADDRESS PEER-ADDRESS" << std::endl;
    return 2;
  }
  const std::string name = argv[1];
  const agent::host::services::Host host;
  auto weather = agent::spf::frameworksetup::SPFConfigurationBuilder(name)
                     .addServiceInterface("temperature", "weather.Temperature", {})
                     .addServicePublisher(name, "rpcservicepublisher", {argv[3]}, {argv[2]}, "", "")
                     .addServiceMapping("temperature", name)
                     .build();
  if (!weather.waitForAllEndpoints(60s, name) || !weather.waitForAllServices(60s, name)) {
    std::cerr << name << " does not reach " << argv[3] << std::endl;
    return 1;
  }
  std::cout << name << " is connected. Press Enter to end." << std::endl;
  std::cin.get();
  if (!weather.waitForAllServicesToBeUnpublished(10s, name)) {
    return 1;
  }
  std::cout << name << " is withdrawn" << std::endl;
}
