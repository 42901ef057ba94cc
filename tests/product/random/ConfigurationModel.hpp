#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "support/canonicalText.hpp"
#include "support/configurations.hpp"

namespace spf::test {

/// What a builder or a configuration holds, kept as plainly as can be.
struct ConfigurationModel {
  using Texts = std::vector<std::string>;

  std::string id;
  std::uint32_t count = 0;
  std::map<std::string, SPFServiceInterfaceConfiguration> interfaces;
  std::set<std::string> toAllPublishers;
  std::map<std::string, SPFServicePublisherConfiguration> publishers;
  std::set<std::pair<std::string, std::string>> mappings;

  template <class Predicate>
  void eraseMappings(Predicate concerned) {
    for (auto mapping = mappings.begin(); mapping != mappings.end();) {
      mapping = concerned(*mapping) ? mappings.erase(mapping) : std::next(mapping);
    }
  }

  /// What building it throws; "nothing thrown" if nothing.
  std::string complaint() const {
    for (const auto& [interfaceID, publisherID] : mappings) {
      if (interfaces.count(interfaceID) == 0) {
        return "ServiceMapping references an unknown ServiceInterface Configuration " + interfaceID;
      }
      if (publishers.count(publisherID) == 0) {
        return "ServiceMapping references an unknown ServicePublisher Configuration " + publisherID;
      }
    }
    return "nothing thrown";
  }

  /// The interfaces that are mapped to a publisher and do not go to all of them.
  Texts mappedOnlyTo(const std::string& publisherID) const {
    Texts result;
    for (const auto& [interfaceID, mapped] : mappings) {
      if (mapped == publisherID && toAllPublishers.count(interfaceID) == 0) {
        result.push_back(interfaceID);
      }
    }
    return result;
  }

  /// The pairs that its properties map: those that marks imply, in the order in which interfaces and
  /// publishers are published, then the explicit ones.
  Pairs publishedMappings(const Texts& interfaceIDs, const Texts& publisherIDs) const {
    Pairs pairs;
    for (const auto& interfaceID : interfaceIDs) {
      for (const auto& publisherID : publisherIDs) {
        if (toAllPublishers.count(interfaceID) != 0 && mappings.count({interfaceID, publisherID}) == 0) {
          pairs.emplace_back(interfaceID, publisherID);
        }
      }
    }
    pairs.insert(pairs.end(), mappings.begin(), mappings.end());
    return pairs;
  }
};

/// A publisher's entry in the properties.
inline Any publishedEntry(const SPFServicePublisherConfiguration& record) {
  const bool legacy = record.name == "legacyservicepublisher";
  return AnyMap({{"uniqueID", Any(record.uniqueID)},
                 {"name", Any(record.name)},
                 {"factoryPID", text(legacy ? "zk.spf.legacyservicepublisher" : "zk.spf.rpcservicepublisher")},
                 {"config", AnyMap({{"endpointsToConnectTo", Any(record.endpointsToConnectTo)},
                                    {"endpointsToBindTo", Any(record.endpointsToBindTo)},
                                    {"importFilter", Any(record.importFilter)},
                                    {"exportFilter", Any(record.exportFilter)}})}});
}

/// An interface's entry in the properties. Its tree has to be one level of distinct keys.
inline Any publishedEntry(const SPFServiceInterfaceConfiguration& record) {
  AnyMap requested(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
  for (const auto& child : record.requestedProperties) {
    requested[child.first] = Any(child.second.data());
  }
  return AnyMap({{"uniqueID", Any(record.uniqueID)},
                 {"name", Any(record.name)},
                 {"version", AnyMap({{"major", Any(1)}})},
                 {"requestedProperties", Any(requested)}});
}

}  // namespace spf::test
