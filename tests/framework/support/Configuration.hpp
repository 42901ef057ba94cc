#pragma once

#include <string>
#include <vector>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>

namespace frameworktest {

inline constexpr auto rpc = "rpcservicepublisher";
inline constexpr auto legacy = "legacyservicepublisher";

/// Builds the properties of one configuration of the framework.
class Configuration {
 public:
  explicit Configuration(int modificationCount) : modificationCount_(modificationCount) {}

  /// Adds a publisher, which the following calls refer to.
  Configuration& publisher(const std::string& id, const std::string& name = rpc);

  Configuration& bind(const cppmicroservices::Any& endpoint);
  Configuration& connect(const cppmicroservices::Any& endpoint);
  Configuration& bind(const char* endpoint) { return bind(std::string(endpoint)); }
  Configuration& connect(const char* endpoint) { return connect(std::string(endpoint)); }
  Configuration& importFilter(const std::string& filter);
  Configuration& exportFilter(const std::string& filter);

  /// Adds a service interface and maps it to the publisher.
  Configuration& service(const std::string& id, const std::string& name);

  /// Maps an interface, which need not exist, to the publisher.
  Configuration& mapping(const std::string& serviceID);

  cppmicroservices::AnyMap properties() const;

 private:
  struct Publisher {
    std::string id;
    std::string name;
    std::vector<cppmicroservices::Any> bind;
    std::vector<cppmicroservices::Any> connect;
    std::string importFilter;
    std::string exportFilter;
  };

  const int modificationCount_;
  std::vector<Publisher> publishers_;
  std::vector<cppmicroservices::Any> services_;
  std::vector<cppmicroservices::Any> mappings_;
};

}  // namespace frameworktest
