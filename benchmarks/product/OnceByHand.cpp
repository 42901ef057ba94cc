// Publishes one publisher on the loopback network through the library alone, and leaves when it is ready: what
// `spfctl run --once` does, without a command line, a configuration file, a control socket and output.
#include <chrono>
#include <cstdlib>

#include <cppmicroservices/Framework.h>

#include "agent/host/host.hpp"
#include "agent/spf/frameworksetup/SPFConfiguration.hpp"
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"
#include "agent/spf/frameworkwatch/PublisherWatch.hpp"

namespace {

constexpr auto publisherID = "station";
constexpr std::chrono::seconds patience(60);

bool publishOnce() {
  using namespace agent::spf::frameworksetup;
  agent::spf::frameworkwatch::PublisherWatch watch(agent::host::services::getFramework()->GetBundleContext(),
                                                   {publisherID});
  auto configuration = SPFConfigurationBuilder("weather")
                           .addServiceInterface("measured", "weather.Temperature", {})
                           .addServicePublisher(publisherID, "rpcservicepublisher", {}, {"tcp://127.0.0.1:*"}, "", "")
                           .addServiceMapping("measured", publisherID)
                           .build();
  const bool isReady = configuration.waitForAllEndpoints(patience, publisherID) &&
                       configuration.waitForAllServices(patience, publisherID);
  configuration.reset();
  return watch.waitUntilAllUnpublished(patience, patience).done && isReady;
}

}  // namespace

int main() {
  const agent::host::services::Host host;
  return publishOnce() ? EXIT_SUCCESS : EXIT_FAILURE;
}
