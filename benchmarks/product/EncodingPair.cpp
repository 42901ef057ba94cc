#include <memory>
#include <string>

#include <cppmicroservices/AnyMap.h>

#include "Pair.hpp"
#include "publish/encodeConfiguration.hpp"

namespace spf::benchmarks {

using agent::spf::frameworksetup::encodeConfiguration;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;

namespace {

struct Configuration {
  agent::spf::frameworksetup::ServiceInterfaces interfaces;
  agent::spf::frameworksetup::ServicePublishers publishers;
  agent::spf::frameworksetup::ServiceMappings mappings;
};

// As many publishers, interfaces and explicit mappings.
std::shared_ptr<const Configuration> configurationOf(int size) {
  auto configuration = std::make_shared<Configuration>();
  for (int number = 0; number < size; ++number) {
    const auto text = std::to_string(number);
    const auto publisherID = "example.publisher." + text;
    const auto interfaceID = "example.interface." + text;
    boost::property_tree::ptree properties;
    properties.put("qos.reliability", "reliable");
    properties.put("qos.depth", text);
    configuration->publishers.insert({publisherID,
                                      "rpcservicepublisher",
                                      {Any("tcp://192.168.7.1:" + text), Any("tcp://192.168.7.2:" + text)},
                                      {Any("tcp://0.0.0.0:" + text)},
                                      "(location=garage)",
                                      "(objectClass=*)"});
    configuration->interfaces.insert({{interfaceID, "example::Interface", properties}, false});
    configuration->mappings.insert({interfaceID, publisherID});
  }
  return configuration;
}

AnyMap encode(const Configuration& configuration) {
  return encodeConfiguration(1, configuration.interfaces, configuration.publishers, configuration.mappings);
}

Side work(int size) {
  return makingSide([configuration = configurationOf(size)] { return encode(*configuration); });
}

// A deep copy of what encoding makes.
Side floor(int size) {
  return makingSide(
      [encoded = std::make_shared<const AnyMap>(encode(*configurationOf(size)))] { return AnyMap(*encoded); });
}

}  // namespace

Pair encoding() {
  return {"encoding", {10, 100, 1000, 5000}, [](int size) { return size < 1000 ? 20 : 2; }, &work, &floor};
}

}  // namespace spf::benchmarks
