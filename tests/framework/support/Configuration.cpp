#include "Configuration.hpp"

namespace frameworktest {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;

namespace {

AnyMap map(std::initializer_list<AnyMap::value_type> entries) {
  return AnyMap(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS, entries);
}

}  // namespace

Configuration& Configuration::publisher(const std::string& id, const std::string& name) {
  publishers_.push_back({id, name, {}, {}, "", ""});
  return *this;
}

Configuration& Configuration::bind(const Any& endpoint) {
  publishers_.back().bind.push_back(endpoint);
  return *this;
}

Configuration& Configuration::connect(const Any& endpoint) {
  publishers_.back().connect.push_back(endpoint);
  return *this;
}

Configuration& Configuration::importFilter(const std::string& filter) {
  publishers_.back().importFilter = filter;
  return *this;
}

Configuration& Configuration::exportFilter(const std::string& filter) {
  publishers_.back().exportFilter = filter;
  return *this;
}

Configuration& Configuration::service(const std::string& id, const std::string& name) {
  services_.emplace_back(
      map({{"uniqueID", id}, {"name", name}, {"version", map({{"major", 1}})}, {"requestedProperties", map({})}}));
  return mapping(id);
}

Configuration& Configuration::mapping(const std::string& serviceID) {
  mappings_.emplace_back(map({{"serviceID", serviceID}, {"publisherID", publishers_.back().id}}));
  return *this;
}

AnyMap Configuration::properties() const {
  std::vector<Any> publishers;
  for (const Publisher& publisher : publishers_) {
    const std::string factory =
        publisher.name == legacy ? "zk.spf.legacyservicepublisher" : "zk.spf.rpcservicepublisher";
    publishers.emplace_back(map({{"uniqueID", publisher.id},
                                 {"name", publisher.name},
                                 {"factoryPID", factory},
                                 {"config", map({{"endpointsToBindTo", publisher.bind},
                                                 {"endpointsToConnectTo", publisher.connect},
                                                 {"importFilter", publisher.importFilter},
                                                 {"exportFilter", publisher.exportFilter}})}}));
  }
  return map({{"serviceConfigurations", services_},
              {"servicePublisherConfigurations", publishers},
              {"servicePublisherMappings", mappings_},
              {"modificationCount", modificationCount_}});
}

}  // namespace frameworktest
