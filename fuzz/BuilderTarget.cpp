#include <algorithm>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Bytes.hpp"
#include "Target.hpp"
#include "agent/spf/frameworksetup/SPFConfiguration.hpp"
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"

// The input is a list of operations on two builders and two handles. Each is a byte with the number of the operation
// and of the builder or handle, and a byte with the numbers of an interface, a publisher and a variant. There is no
// host, so nothing is published.

namespace {

using namespace agent::spf::frameworksetup;
using cppmicroservices::Any;
using spf::fuzz::Bytes;
using spf::fuzz::require;

/// What a builder or a handle holds, kept as plainly as can be.
struct Model {
  std::map<std::string, std::pair<std::string, bool>> interfaces;  // name, and whether for all publishers
  std::map<std::string, std::string> publishers;                   // export filter
  std::set<std::pair<std::string, std::string>> mappings;

  std::string complaint() const {
    for (const auto& [interfaceID, publisherID] : mappings) {
      if (interfaces.count(interfaceID) == 0) {
        return "ServiceMapping references an unknown ServiceInterface Configuration " + interfaceID;
      }
      if (publishers.count(publisherID) == 0) {
        return "ServiceMapping references an unknown ServicePublisher Configuration " + publisherID;
      }
    }
    return "";
  }

  template <class Predicate>
  void eraseMappings(Predicate concerned) {
    for (auto mapping = mappings.begin(); mapping != mappings.end();) {
      mapping = concerned(*mapping) ? mappings.erase(mapping) : std::next(mapping);
    }
  }
};

struct Builder {
  SPFConfigurationBuilder sut{"id"};
  Model model;
};

struct Handle {
  SPFConfiguration sut;
  Model model;
  bool isEmpty = true;
};

struct Operation {
  std::string interfaceID;
  std::string publisherID;
  std::string variant;

  explicit Operation(unsigned byte)
      : interfaceID("i" + std::to_string(byte & 3)),
        publisherID("p" + std::to_string(byte >> 2 & 3)),
        variant(std::to_string(byte >> 4)) {}

  SPFServiceInterfaceConfiguration serviceInterface() const { return {interfaceID, variant, {}}; }
  SPFServicePublisherConfiguration publisher() const {
    return {publisherID, "rpcservicepublisher", {Any(variant)}, {}, "", variant};
  }
};

void compareInterfaces(const std::vector<SPFServiceInterfaceConfiguration>& actual,
                       const std::map<std::string, std::string>& expected) {
  std::map<std::string, std::string> names;
  for (const auto& one : actual) {
    require(names.emplace(one.uniqueID, one.name).second, "no interface is listed twice");
  }
  require(names == expected, "a handle has its builder's interfaces");
}

void compare(const Handle& handle) {
  require(handle.sut.empty() == handle.isEmpty, "a handle is empty only without a configuration");
  std::map<std::string, std::string> names;
  for (const auto& [id, entry] : handle.model.interfaces) {
    names.emplace(id, entry.first);
  }
  compareInterfaces(handle.sut.getServiceInterfaceConfigurations(), names);
  std::map<std::string, std::string> filters;
  for (const auto& one : handle.sut.getServicePublisherConfigurations()) {
    filters.emplace(one.uniqueID, one.exportFilter);
    require(one.endpointsToConnectTo == std::vector<Any>{Any(one.exportFilter)}, "a publisher is replaced as a whole");
  }
  require(filters == handle.model.publishers, "a handle has its builder's publishers");
  for (const auto* publisherID : {"p0", "p1", "p2", "p3"}) {
    std::map<std::string, std::string> served;
    for (const auto& [id, entry] : handle.model.interfaces) {
      if (entry.second || handle.model.mappings.count({id, publisherID}) != 0) {
        served.emplace(id, entry.first);
      }
    }
    compareInterfaces(handle.sut.getServiceInterfaceConfigurationsForServicePublisher(publisherID), served);
  }
}

void build(Builder& builder, Handle& handle) {
  std::string complaint;
  try {
    handle.sut = builder.sut.build();
    handle.model = builder.model;
    handle.isEmpty = false;
  } catch (const std::runtime_error& failure) {
    complaint = failure.what();
  }
  require(complaint == builder.model.complaint(), "building names the first mapping that leads nowhere");
}

using Action = void (*)(Builder&, Handle&, const Operation&);

const Action actions[] = {
    [](Builder& builder, Handle&, const Operation& operation) {
      builder.sut.addServiceInterface(operation.serviceInterface());
      builder.model.interfaces[operation.interfaceID].first = operation.variant;
    },
    [](Builder& builder, Handle&, const Operation& operation) {
      builder.sut.addServiceInterfaceToAllServicePublishers(operation.serviceInterface());
      builder.model.interfaces[operation.interfaceID] = {operation.variant, true};
    },
    [](Builder& builder, Handle&, const Operation& operation) {
      builder.sut.addServiceInterfaceToServicePublisher(operation.publisherID, operation.serviceInterface());
      builder.model.interfaces[operation.interfaceID].first = operation.variant;
      builder.model.mappings.emplace(operation.interfaceID, operation.publisherID);
    },
    [](Builder& builder, Handle&, const Operation& operation) {
      builder.sut.addServiceMapping(operation.interfaceID, operation.publisherID);
      builder.model.mappings.emplace(operation.interfaceID, operation.publisherID);
    },
    [](Builder& builder, Handle&, const Operation& operation) {
      builder.sut.addServicePublisher(operation.publisher());
      builder.model.publishers[operation.publisherID] = operation.variant;
    },
    [](Builder& builder, Handle&, const Operation& operation) {
      builder.sut.removeServiceInterface(operation.interfaceID);
      builder.model.interfaces.erase(operation.interfaceID);
      builder.model.eraseMappings([&](const auto& mapping) { return mapping.first == operation.interfaceID; });
    },
    [](Builder& builder, Handle&, const Operation& operation) {
      builder.sut.removeServicePublisher(operation.publisherID);
      builder.model.publishers.erase(operation.publisherID);
      builder.model.eraseMappings([&](const auto& mapping) { return mapping.second == operation.publisherID; });
    },
    [](Builder& builder, Handle&, const Operation& operation) {
      builder.sut.removeServiceMapping(operation.interfaceID, operation.publisherID);
      builder.model.mappings.erase({operation.interfaceID, operation.publisherID});
    },
    [](Builder& builder, Handle&, const Operation& operation) {
      builder.sut.undoMappingOfServiceInterfaceToAllServicePublishers(operation.interfaceID);
      const auto found = builder.model.interfaces.find(operation.interfaceID);
      if (found != builder.model.interfaces.end()) {
        found->second.second = false;
      }
    },
    [](Builder& builder, Handle& handle, const Operation&) { build(builder, handle); },
    [](Builder& builder, Handle& handle, const Operation&) {
      builder.sut = handle.sut.modify();
      builder.model = handle.model;
    },
    [](Builder& builder, Handle&, const Operation&) {
      const SPFConfigurationBuilder away(std::move(builder.sut));
      builder.model = {};
    },
    [](Builder&, Handle& handle, const Operation&) {
      handle.sut.reset();
      handle.model = {};
      handle.isEmpty = true;
    },
    [](Builder&, Handle& handle, const Operation&) {
      SPFConfiguration other(std::move(handle.sut));
      require(handle.sut.empty(), "a handle that was moved from is empty");
      handle.sut = std::move(other);
    },
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Bytes bytes(data, size);
  Builder builders[2];
  Handle handles[2];
  while (!bytes.empty()) {
    const unsigned head = bytes.next();
    const Operation operation(bytes.next());
    actions[(head & 63) % std::size(actions)](builders[head >> 6 & 1], handles[head >> 7], operation);
  }
  for (const auto& handle : handles) {
    compare(handle);
  }
  return 0;
}
