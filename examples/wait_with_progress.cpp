// Waits in short steps, and says in between which endpoints are not up yet.
//
// A publisher connects to an address that nobody serves at first. A second configuration binds it, and the wait ends.

#include <iostream>
#include <string>

#include <cppmicroservices/Any.h>
#include <unistd.h>
#include <agent/host/host.hpp>
#include <agent/spf/frameworksetup/SPFConfigurationBuilder.hpp>

using namespace std::chrono_literals;
using agent::spf::frameworksetup::SPFConfiguration;
using agent::spf::frameworksetup::SPFConfigurationBuilder;

namespace {

void printOutstanding(SPFConfiguration& configuration, const std::string& publisher) {
  const auto [toConnect, toBind] = configuration.listOutstandingEndpoints(publisher);
  for (const auto& endpoint : toConnect) {
    std::cout << publisher << " still has to connect to " << endpoint.ToString() << std::endl;
  }
  for (const auto& endpoint : toBind) {
    std::cout << publisher << " still has to bind " << endpoint.ToString() << std::endl;
  }
}

}  // namespace

int main() {
  const agent::host::services::Host host;
  const std::string address = "ipc://@spf-example-" + std::to_string(getpid());
  auto harbour = SPFConfigurationBuilder("harbour")
                     .addServicePublisher("pier", "rpcservicepublisher", {address}, {"tcp://127.0.0.1:*"}, "", "")
                     .build();
  SPFConfiguration weather;
  for (int step = 0; !harbour.waitForAllEndpoints(100ms, "pier"); ++step) {
    printOutstanding(harbour, "pier");
    if (step == 0) {
      weather = SPFConfigurationBuilder("weather")
                    .addServicePublisher("station", "rpcservicepublisher", {}, {address}, "", "")
                    .build();
    }
    if (step == 100) {
      return 1;
    }
  }
  std::cout << "pier has bound and connected everything" << std::endl;
}
