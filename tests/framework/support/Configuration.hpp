#pragma once

#include <string>
#include <vector>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>

namespace frameworktest {

inline constexpr auto rpc = "rpcservicepublisher";
inline constexpr auto legacy = "legacyservicepublisher";

/// The properties of one configuration, as the framework is given them.
class Configuration {
 public:
  explicit Configuration(int modificationCount) : modificationCount_(modificationCount) {}

  /// Adds a publisher; what follows concerns it.
  Configuration& publisher(const std::string& id, const std::string& name = rpc);

  Configuration& bind(const cppmicroservices::Any& endpoint);
  Configuration& connect(const cppmicroservices::Any& endpoint);
  Configuration& bind(const char* endpoint) { return bind(std::string(endpoint)); }
  Configuration& connect(const char* endpoint) { return connect(std::string(endpoint)); }
  Configuration& importFilter(const std::string& filter);
  Configuration& exportFilter(const std::string& filter);

  /// Adds a service interface and maps it to the publisher.
  Configuration& service(const std::string& id, const std::string& name);

  /// Maps an interface that may not exist.
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
