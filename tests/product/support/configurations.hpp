#pragma once

#include <algorithm>
#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "TestFramework.hpp"
#include "agent/spf/frameworksetup/SPFConfiguration.hpp"
#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"

namespace spf::test {

using agent::spf::frameworksetup::SPFConfiguration;
using agent::spf::frameworksetup::SPFConfigurationBuilder;
using agent::spf::frameworksetup::SPFServiceInterfaceConfiguration;
using agent::spf::frameworksetup::SPFServicePublisherConfiguration;

/// The time-out of a wait that only looks once.
inline constexpr std::chrono::milliseconds noWait{0};

inline SPFServiceInterfaceConfiguration serviceInterface(std::string uniqueID, std::string name = "some.Interface") {
  return {std::move(uniqueID), std::move(name), {}};
}

inline SPFServicePublisherConfiguration publisher(std::string uniqueID, List connect = {}, List bind = {}) {
  return {std::move(uniqueID), "rpcservicepublisher", std::move(connect), std::move(bind), "", ""};
}

template <class Record>
std::vector<std::string> idsOf(const std::vector<Record>& records) {
  std::vector<std::string> ids;
  for (const auto& record : records) {
    ids.push_back(record.uniqueID);
  }
  return ids;
}

/// The same in ascending order, where the order is nobody's promise.
template <class Record>
std::vector<std::string> sortedIDsOf(const std::vector<Record>& records) {
  auto ids = idsOf(records);
  std::sort(ids.begin(), ids.end());
  return ids;
}

inline const AnyMap& asMap(const Any& value) {
  return cppmicroservices::ref_any_cast<AnyMap>(value);
}
inline const List& asList(const Any& value) {
  return cppmicroservices::ref_any_cast<List>(value);
}
inline const std::string& asText(const Any& value) {
  return cppmicroservices::ref_any_cast<std::string>(value);
}
inline int asInt(const Any& value) {
  return cppmicroservices::any_cast<int>(value);
}

using Pairs = std::vector<std::pair<std::string, std::string>>;

/// The pairs of (serviceID, publisherID) that a configuration's properties map, in their order.
inline Pairs mappingsIn(const AnyMap& properties) {
  Pairs pairs;
  for (const auto& entry : asList(properties.at("servicePublisherMappings"))) {
    pairs.emplace_back(asText(asMap(entry).at("serviceID")), asText(asMap(entry).at("publisherID")));
  }
  return pairs;
}

/// The IDs of the entries in one of the lists of a configuration's properties, in their order.
inline std::vector<std::string> idsIn(const AnyMap& properties, const char* list) {
  std::vector<std::string> ids;
  for (const auto& entry : asList(properties.at(list))) {
    ids.push_back(asText(asMap(entry).at("uniqueID")));
  }
  return ids;
}

/// The entry with that uniqueID in one of the lists of a configuration's properties.
inline const AnyMap& entryIn(const AnyMap& properties, const char* list, const std::string& uniqueID) {
  for (const auto& entry : asList(properties.at(list))) {
    if (asText(asMap(entry).at("uniqueID")) == uniqueID) {
      return asMap(entry);
    }
  }
  throw std::runtime_error("no entry " + uniqueID + " in " + list);
}

/// What an operation throws, as text; "nothing thrown" if nothing.
template <class Operation>
std::string messageOf(Operation operation) {
  try {
    operation();
  } catch (const std::exception& exception) {
    return exception.what();
  }
  return "nothing thrown";
}

}  // namespace spf::test
