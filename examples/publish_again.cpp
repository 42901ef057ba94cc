// Withdraws a configuration of several publishers, waits until all of them are gone, and uses their IDs again.

#include <iostream>
#include <string>
#include <vector>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <agent/host/host.hpp>
#include <agent/host/services.hpp>
#include <agent/spf/frameworksetup/SPFConfigurationBuilder.hpp>
#include <agent/spf/frameworkwatch/PublisherWatch.hpp>

using namespace std::chrono_literals;
using agent::spf::frameworksetup::SPFConfigurationBuilder;
using agent::spf::frameworkwatch::PublisherWatch;

int main() {
  const agent::host::services::Host host;
  for (const std::string interface : {"weather.Temperature", "weather.Humidity"}) {
    PublisherWatch watch(agent::host::services::getFramework()->GetBundleContext(), {"indoor", "outdoor"});
    auto weather = SPFConfigurationBuilder("weather")
                       .addServiceInterface("measured", interface, {})
                       .addServicePublisher("indoor", "rpcservicepublisher", {}, {"tcp://127.0.0.1:*"}, "", "")
                       .addServicePublisher("outdoor", "rpcservicepublisher", {}, {"tcp://127.0.0.1:*"}, "", "")
                       .addServiceMapping("measured", "indoor")
                       .addServiceMapping("measured", "outdoor")
                       .build();
    const auto published = watch.waitUntilAllPublished(10s);
    for (const auto& publisher : published.failed) {
      std::cerr << publisher.servicePublisherID << ": " << publisher.reason << "\n";
    }
    weather.reset();  // withdraws
    const auto withdrawn = watch.waitUntilAllUnpublished(10s);
    for (const auto& publisher : withdrawn.outstanding) {
      std::cerr << publisher << " is still there, so its ID cannot be used again\n";
    }
    if (!published || !withdrawn) {
      return 1;
    }
    std::cout << interface << " was published and withdrawn" << std::endl;
  }
}
