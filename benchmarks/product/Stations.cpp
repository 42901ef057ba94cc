#include "Stations.hpp"

#include <chrono>
#include <stdexcept>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

#include "RunningHost.hpp"
#include "agent/spf/frameworksetup/SPFConfiguration.hpp"
#include "agent/spf/frameworkwatch/PublisherWatch.hpp"
#include "model/ConfigurationEntries.hpp"
#include "publish/configurationIdentity.hpp"
#include "publish/encodeConfiguration.hpp"

namespace spf::benchmarks {

using namespace agent::spf::frameworksetup;
using agent::spf::frameworkwatch::PublisherWatch;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;

namespace {

constexpr auto interfaceID = "measured";
constexpr auto interfaceName = "weather.Temperature";
constexpr auto publisherName = "rpcservicepublisher";
constexpr std::chrono::seconds patience(60);

void require(bool happened, const char* what) {
  if (!happened) {
    throw std::runtime_error(std::string("not within a minute: ") + what);
  }
}

void waitUntilReady(SPFConfiguration& configuration, const Stations& stations) {
  for (const auto& id : stations.publisherIDs()) {
    require(configuration.waitForAllEndpoints(patience, id), "all endpoints are bound");
    require(configuration.waitForAllServices(patience, id), "all services are published");
  }
}

}  // namespace

Stations::Stations(int number, int publishers) : configurationID_("weather-" + std::to_string(number)) {
  for (int publisher = 0; publisher < publishers; ++publisher) {
    publisherIDs_.push_back("station-" + std::to_string(number) + "-" + std::to_string(publisher));
  }
}

std::string Stations::endpointOf(const std::string& publisherID) const {
  return "inproc://" + publisherID;
}

SPFConfigurationBuilder Stations::builder() const {
  SPFConfigurationBuilder builder(configurationID_);
  builder.addServiceInterface(interfaceID, interfaceName, {});
  for (const auto& id : publisherIDs_) {
    builder.addServicePublisher(id, publisherName, {}, {endpointOf(id)}, "", "");
    builder.addServiceMapping(interfaceID, id);
  }
  return builder;
}

AnyMap Stations::properties() const {
  ServiceInterfaces interfaces;
  ServicePublishers publishers;
  ServiceMappings mappings;
  interfaces.insert(ServiceInterfaceEntry{{interfaceID, interfaceName, {}}, false});
  for (const auto& id : publisherIDs_) {
    publishers.insert({id, publisherName, {}, {Any(endpointOf(id))}, "", ""});
    mappings.insert({interfaceID, id});
  }
  return encodeConfiguration(1, interfaces, publishers, mappings);
}

AnyMap publishedProperties(const std::string& configurationID) {
  using cppmicroservices::service::cm::ConfigurationAdmin;
  auto context = hostContext();
  const auto configurationAdmin = context.GetService(context.GetServiceReference<ConfigurationAdmin>());
  return configurationAdmin->GetFactoryConfiguration(frameworkFactoryPID, configurationID)->GetProperties();
}

void live(const Stations& stations) {
  PublisherWatch watch(hostContext(), stations.publisherIDs());
  auto configuration = stations.builder().build();
  waitUntilReady(configuration, stations);
  configuration.reset();
  require(watch.waitUntilAllUnpublished(patience, patience).done, "all services are unpublished");
}

void liveAtOnce(const std::vector<Stations>& all) {
  std::vector<std::string> publisherIDs;
  for (const auto& stations : all) {
    publisherIDs.insert(publisherIDs.end(), stations.publisherIDs().begin(), stations.publisherIDs().end());
  }
  PublisherWatch watch(hostContext(), publisherIDs);
  std::vector<SPFConfiguration> configurations;
  for (const auto& stations : all) {
    configurations.push_back(stations.builder().build());
  }
  for (std::size_t index = 0; index < all.size(); ++index) {
    waitUntilReady(configurations[index], all[index]);
  }
  configurations.clear();
  require(watch.waitUntilAllUnpublished(patience, patience).done, "all services are unpublished");
}

}  // namespace spf::benchmarks
