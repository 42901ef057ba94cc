#include "file/differences.hpp"

#include <map>
#include <set>
#include <utility>

#include "file/anyJson.hpp"

namespace spfctl {

namespace {

using agent::spf::frameworksetup::SPFServicePublisherConfiguration;
using Interface = ConfigurationDescription::ServiceInterface;
using Kind = Difference::Kind;
using Tree = boost::property_tree::ptree;

void compareText(std::vector<Difference>& details, const char* what, const std::string& before,
                 const std::string& after) {
  if (before != after) {
    details.push_back({Kind::changed, what, before, after, {}});
  }
}

// The leaves of a tree by their paths, with a number for each further one of the same path.
void collectLeaves(const Tree& tree, const std::string& path, std::multimap<std::string, std::string>& leaves) {
  if (tree.empty() || !tree.data().empty()) {
    leaves.emplace(path, tree.data());
  }
  for (const auto& [key, child] : tree) {
    collectLeaves(child, path + (path.empty() ? "" : " / ") + (key.empty() ? "-" : key), leaves);
  }
}

std::multimap<std::string, std::string> leavesOf(const Tree& tree) {
  std::multimap<std::string, std::string> leaves;
  for (const auto& [key, child] : tree) {
    collectLeaves(child, key.empty() ? "-" : key, leaves);
  }
  return leaves;
}

void compareTrees(std::vector<Difference>& details, const Tree& before, const Tree& after) {
  const auto old = leavesOf(before);
  auto added = leavesOf(after);
  for (const auto& [path, value] : old) {
    auto [match, end] = added.equal_range(path);
    while (match != end && match->second != value) {
      ++match;
    }
    if (match != end) {
      added.erase(match);
    } else {
      details.push_back({Kind::removed, "property " + path, value, "", {}});
    }
  }
  for (const auto& [path, value] : added) {
    details.push_back({Kind::added, "property " + path, "", value, {}});
  }
  if (old == leavesOf(after) && before != after) {
    details.push_back({Kind::changed, "order of the properties", "", "", {}});
  }
}

void compareEndpoints(std::vector<Difference>& details, const std::string& what,
                      const std::vector<cppmicroservices::Any>& before,
                      const std::vector<cppmicroservices::Any>& after) {
  const auto first = details.size();
  std::multiset<std::string> added;
  std::vector<std::string> oldTexts;
  std::vector<std::string> newTexts;
  for (const auto& endpoint : after) {
    newTexts.push_back(endpointText(endpoint));
    added.insert(newTexts.back());
  }
  for (const auto& endpoint : before) {
    oldTexts.push_back(endpointText(endpoint));
    const auto match = added.find(oldTexts.back());
    if (match != added.end()) {
      added.erase(match);
    } else {
      details.push_back({Kind::removed, "endpoint " + what, oldTexts.back(), "", {}});
    }
  }
  for (const auto& text : added) {
    details.push_back({Kind::added, "endpoint " + what, "", text, {}});
  }
  if (details.size() == first && oldTexts != newTexts) {
    details.push_back({Kind::changed, "order of the endpoints " + what, "", "", {}});
  }
}

std::vector<Difference> detailsOf(const Interface& before, const Interface& after) {
  std::vector<Difference> details;
  compareText(details, "name", before.record.name, after.record.name);
  compareText(details, "to all publishers", before.toAllServicePublishers ? "yes" : "no",
              after.toAllServicePublishers ? "yes" : "no");
  compareTrees(details, before.record.requestedProperties, after.record.requestedProperties);
  return details;
}

std::vector<Difference> detailsOf(const SPFServicePublisherConfiguration& before,
                                  const SPFServicePublisherConfiguration& after) {
  std::vector<Difference> details;
  compareText(details, "name", before.name, after.name);
  compareEndpoints(details, "to connect to", before.endpointsToConnectTo, after.endpointsToConnectTo);
  compareEndpoints(details, "to bind to", before.endpointsToBindTo, after.endpointsToBindTo);
  compareText(details, "import filter", before.importFilter, after.importFilter);
  compareText(details, "export filter", before.exportFilter, after.exportFilter);
  return details;
}

const std::string& idOf(const Interface& serviceInterface) {
  return serviceInterface.record.uniqueID;
}

const std::string& idOf(const SPFServicePublisherConfiguration& publisher) {
  return publisher.uniqueID;
}

template <class Entry>
std::map<std::string, const Entry*> byID(const std::vector<Entry>& entries) {
  std::map<std::string, const Entry*> map;
  for (const auto& entry : entries) {
    map.emplace(idOf(entry), &entry);
  }
  return map;
}

template <class Entry>
std::vector<Difference> compareEntries(const std::vector<Entry>& before, const std::vector<Entry>& after) {
  const auto old = byID(before);
  const auto current = byID(after);
  std::vector<Difference> differences;
  for (const auto& [id, entry] : old) {
    const auto same = current.find(id);
    if (same == current.end()) {
      differences.push_back({Kind::removed, id, "", "", {}});
    } else if (auto details = detailsOf(*entry, *same->second); !details.empty()) {
      differences.push_back({Kind::changed, id, "", "", std::move(details)});
    }
  }
  for (const auto& [id, entry] : current) {
    if (old.count(id) == 0) {
      differences.push_back({Kind::added, id, "", "", {}});
    }
  }
  return differences;
}

std::set<std::string> mappingTexts(const ConfigurationDescription& description) {
  std::set<std::string> texts;
  for (const auto& [serviceInterfaceID, servicePublisherID] : description.serviceMappings) {
    texts.insert(serviceInterfaceID + " -> " + servicePublisherID);
  }
  return texts;
}

std::vector<Difference> compareMappings(const std::set<std::string>& before, const std::set<std::string>& after) {
  std::vector<Difference> differences;
  for (const auto& mapping : before) {
    if (after.count(mapping) == 0) {
      differences.push_back({Kind::removed, mapping, "", "", {}});
    }
  }
  for (const auto& mapping : after) {
    if (before.count(mapping) == 0) {
      differences.push_back({Kind::added, mapping, "", "", {}});
    }
  }
  return differences;
}

}  // namespace

Differences differencesOf(const ConfigurationDescription& before, const ConfigurationDescription& after) {
  Differences differences;
  compareText(differences.configuration, "configurationID", before.configurationID, after.configurationID);
  differences.serviceInterfaces = compareEntries(before.serviceInterfaces, after.serviceInterfaces);
  differences.servicePublishers = compareEntries(before.servicePublishers, after.servicePublishers);
  differences.serviceMappings = compareMappings(mappingTexts(before), mappingTexts(after));
  return differences;
}

}  // namespace spfctl
