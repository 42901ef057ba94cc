// Connects to the publishers of other processes, and asks each what it publishes.
//
//   spf_example_observatory ADDRESS...

#include <iostream>
#include <string>
#include <vector>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <agent/host/host.hpp>
#include <agent/host/services.hpp>
#include <agent/spf/frameworkinterfaces/PeerDirectory.hpp>
#include <agent/spf/frameworksetup/SPFConfigurationBuilder.hpp>

using namespace std::chrono_literals;
using agent::spf::frameworkinterfaces::PeerDirectory;
using cppmicroservices::AnyMap;
using cppmicroservices::ref_any_cast;

int main(int argc, char** argv) {
  const std::vector<std::string> peers(argv + 1, argv + argc);
  const agent::host::services::Host host;
  auto observatory =
      agent::spf::frameworksetup::SPFConfigurationBuilder("observatory")
          .addServicePublisher("telescope", "rpcservicepublisher", {peers.begin(), peers.end()}, {}, "", "")
          .build();
  if (!observatory.waitForAllEndpoints(60s, "telescope")) {
    std::cerr << "not every peer can be reached" << std::endl;
    return 1;
  }
  auto context = agent::host::services::getFramework()->GetBundleContext();
  const auto directory = context.GetService(context.GetServiceReference<PeerDirectory>());
  for (const auto& peer : peers) {
    const AnyMap answer = directory->ask("telescope", peer, 5s);
    for (const auto& service : ref_any_cast<std::vector<cppmicroservices::Any>>(answer.at("services"))) {
      std::cout << answer.at("publisherID").ToString() << " publishes "
                << ref_any_cast<AnyMap>(service).at("name").ToString() << std::endl;
    }
  }
}
