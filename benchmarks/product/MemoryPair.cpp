#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/ServiceRegistration.h>
#include <cppmicroservices/cm/ConfigurationAdmin.hpp>

#include "BareHost.hpp"
#include "Pair.hpp"
#include "agent/host/services.hpp"
#include "agent/spf/frameworklistener/FrameworkListener.hpp"
#include "agent/spf/frameworksetup/SPFConfiguration.hpp"
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"
#include "model/ConfigurationEntries.hpp"
#include "publish/encodeConfiguration.hpp"
#include "tracking/ConfigTracker.hpp"

namespace spf::benchmarks {

using namespace agent::spf::frameworksetup;
using agent::spf::frameworklistener::FrameworkListener;
using cppmicroservices::Any;
using cppmicroservices::service::cm::ConfigurationAdmin;
using List = std::vector<Any>;

namespace {

SPFServiceInterfaceConfiguration interfaceOf(int number) {
  SPFServiceInterfaceConfiguration record{
      "example.interface." + std::to_string(number), "example::Interface" + std::to_string(number), {}};
  record.requestedProperties.put("qos.reliability", "reliable");
  return record;
}

SPFServicePublisherConfiguration publisherOf(int number) {
  const auto text = std::to_string(10000 + number);
  return {"example.publisher." + std::to_string(number),
          "rpcservicepublisher",
          {Any("tcp://192.168.7.1:" + text)},
          {Any("tcp://0.0.0.0:" + text)},
          "(location=garage)",
          "(objectClass=*)"};
}

// Every ID once only: a runtime may lose a configuration that is withdrawn and published again at once.
SPFConfiguration publish(int size, const char* id) {
  SPFConfigurationBuilder builder(id);
  for (int number = 0; number < size; ++number) {
    const auto serviceInterface = interfaceOf(number);
    const auto publisher = publisherOf(number);
    builder.addServiceInterface(serviceInterface).addServicePublisher(publisher);
    builder.addServiceMapping(serviceInterface.uniqueID, publisher.uniqueID);
  }
  return builder.build();
}

// Publishes one configuration and keeps it; the configuration waits for its publishers, and its builder is destroyed.
Side work(int size) {
  struct Data {
    std::unique_ptr<BareHost> host;
    std::unique_ptr<SPFConfiguration> live;
    ~Data() { live.reset(); }
  };
  auto data = std::make_shared<Data>();
  return {[data, size](int) {
            data->live.reset();
            data->host.reset();
            data->host = std::make_unique<BareHost>();
            publish(size, "first");  // whatever only the first one needs
          },
          [data, size](int) { data->live = std::make_unique<SPFConfiguration>(publish(size, "memory")); },
          [data] { return Any(data->live->listOutstandingEndpoints("example.publisher.0").second); }};
}

/// What a configuration is made of, and nothing around it.
struct BareConfiguration {
  ServiceInterfaces interfaces;
  ServicePublishers publishers;
  ServiceMappings mappings;
  cppmicroservices::AnyMap properties{cppmicroservices::AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS};
  std::unordered_map<std::string, ConfigTracker> trackers;
};

std::unique_ptr<BareConfiguration> fill(int size) {
  auto bare = std::make_unique<BareConfiguration>();
  for (int number = 0; number < size; ++number) {
    const auto serviceInterface = interfaceOf(number);
    const auto publisher = publisherOf(number);
    bare->interfaces.emplace(serviceInterface, false);
    bare->publishers.insert(publisher);
    bare->mappings.insert({serviceInterface.uniqueID, publisher.uniqueID});
    bare->trackers.emplace(
        std::piecewise_construct, std::forward_as_tuple(publisher.uniqueID),
        std::forward_as_tuple(List(publisher.endpointsToBindTo), List(publisher.endpointsToConnectTo), true));
  }
  bare->properties = encodeConfiguration(1, bare->interfaces, bare->publishers, bare->mappings);
  return bare;
}

Side floor(int size) {
  auto bare = std::make_shared<std::unique_ptr<BareConfiguration>>();
  return {[bare, size](int) {
            fill(size);
            bare->reset();
          },
          [bare, size](int) { *bare = fill(size); },
          [bare] { return Any((*bare)->trackers.at("example.publisher.0").listOutstandingEndpoints().second); }};
}

/// The same, published by hand: with the registration of a listener that does nothing and Configuration Admin's own
/// entry, without which no configuration lives.
struct PublishedByHand {
  explicit PublishedByHand(int size) : bare(fill(size)) {
    auto context = agent::host::services::getFramework()->GetBundleContext();
    registration = context.RegisterService<FrameworkListener>(std::make_shared<FrameworkListener>());
    const auto configurationAdmin = context.GetService(context.GetServiceReference<ConfigurationAdmin>());
    configurationAdmin->GetFactoryConfiguration("zk.spf.framework", "memory")
        ->Update(std::move(bare->properties))
        .get();
  }

  std::unique_ptr<BareConfiguration> bare;
  cppmicroservices::ServiceRegistration<FrameworkListener> registration;
};

Side leastWork(int size) {
  struct Data {
    std::unique_ptr<BareHost> host;
    std::unique_ptr<PublishedByHand> live;
  };
  auto data = std::make_shared<Data>();
  return {
      [data, size](int) {
        data->live.reset();
        data->host.reset();
        data->host = std::make_unique<BareHost>();
        publish(size, "first");  // whatever only the first one needs
      },
      [data, size](int) { data->live = std::make_unique<PublishedByHand>(size); },
      [data] { return Any(data->live->bare->trackers.at("example.publisher.0").listOutstandingEndpoints().second); }};
}

int oneRound(int) {
  return 1;
}

}  // namespace

Pair memory() {
  return {"memory", {1, 10, 100, 1000}, &oneRound, &work, &floor, Counting::bytes};
}

Pair memoryAtLeast() {
  return {"memory-at-least", {1, 10}, &oneRound, &leastWork, &floor, Counting::bytes};
}

}  // namespace spf::benchmarks
