#include "file/differences.hpp"

#include <map>
#include <set>
#include <utility>

#include <nlohmann/json.hpp>

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

// The keys on the way to a leaf.
using Path = std::vector<std::string>;
using Leaves = std::multimap<Path, std::string>;

void collectLeaves(const Tree& tree, const Path& path, Leaves& leaves) {
  if (!path.empty() && (tree.empty() || !tree.data().empty())) {
    leaves.emplace(path, tree.data());
  }
  for (const auto& [key, child] : tree) {
    auto longer = path;
    longer.push_back(key);
    collectLeaves(child, longer, leaves);
  }
}

Leaves leavesOf(const Tree& tree) {
  Leaves leaves;
  collectLeaves(tree, {}, leaves);
  return leaves;
}

std::string propertyName(const Path& path) {
  std::string text;
  for (const auto& key : path) {
    text += (text.empty() ? "" : " / ") + (key.empty() ? "-" : key);
  }
  return "property " + text;
}

void compareTrees(std::vector<Difference>& details, const Tree& before, const Tree& after) {
  const auto first = details.size();
  auto added = leavesOf(after);
  for (const auto& [path, value] : leavesOf(before)) {
    auto [match, end] = added.equal_range(path);
    while (match != end && match->second != value) {
      ++match;
    }
    if (match != end) {
      added.erase(match);
    } else {
      details.push_back({Kind::removed, propertyName(path), value, "", {}});
    }
  }
  for (const auto& [path, value] : added) {
    details.push_back({Kind::added, propertyName(path), "", value, {}});
  }
  if (details.size() == first && before != after) {
    details.push_back({Kind::changed, "order of the properties", "", "", {}});
  }
}

// As JSON, since the text "5" and the number 5 are different endpoints.
std::vector<std::string> jsonTexts(const std::vector<cppmicroservices::Any>& endpoints) {
  std::vector<std::string> texts;
  texts.reserve(endpoints.size());
  for (const auto& endpoint : endpoints) {
    texts.push_back(toJson(endpoint).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
  }
  return texts;
}

// The positions of those texts that others lack; repeated ones are counted.
std::vector<std::size_t> missingFrom(const std::vector<std::string>& others, const std::vector<std::string>& texts) {
  std::multiset<std::string> present(others.begin(), others.end());
  std::vector<std::size_t> missing;
  for (std::size_t index = 0; index < texts.size(); ++index) {
    const auto match = present.find(texts[index]);
    if (match == present.end()) {
      missing.push_back(index);
    } else {
      present.erase(match);
    }
  }
  return missing;
}

void compareEndpoints(std::vector<Difference>& details, const std::string& what,
                      const std::vector<cppmicroservices::Any>& before,
                      const std::vector<cppmicroservices::Any>& after) {
  const auto first = details.size();
  const auto oldTexts = jsonTexts(before);
  const auto newTexts = jsonTexts(after);
  for (const auto index : missingFrom(newTexts, oldTexts)) {
    details.push_back({Kind::removed, "endpoint " + what, endpointText(before[index]), "", {}});
  }
  for (const auto index : missingFrom(oldTexts, newTexts)) {
    details.push_back({Kind::added, "endpoint " + what, "", endpointText(after[index]), {}});
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

// What an entry holds that is added or removed: what differs from an empty one.
std::vector<Difference> contentOf(std::vector<Difference> details, Kind kind) {
  for (auto& detail : details) {
    detail.kind = kind;
    (kind == Kind::added ? detail.before : detail.after).clear();
  }
  return details;
}

template <class Entry>
std::vector<Difference> compareEntries(const std::vector<Entry>& before, const std::vector<Entry>& after) {
  const auto old = byID(before);
  const auto current = byID(after);
  std::vector<Difference> differences;
  for (const auto& [id, entry] : old) {
    const auto same = current.find(id);
    if (same == current.end()) {
      differences.push_back({Kind::removed, id, "", "", contentOf(detailsOf(*entry, Entry()), Kind::removed)});
    } else if (auto details = detailsOf(*entry, *same->second); !details.empty()) {
      differences.push_back({Kind::changed, id, "", "", std::move(details)});
    }
  }
  for (const auto& [id, entry] : current) {
    if (old.count(id) == 0) {
      differences.push_back({Kind::added, id, "", "", contentOf(detailsOf(Entry(), *entry), Kind::added)});
    }
  }
  return differences;
}

using Mappings = std::set<std::pair<std::string, std::string>>;

Mappings mappingsOf(const ConfigurationDescription& description) {
  return {description.serviceMappings.begin(), description.serviceMappings.end()};
}

std::vector<Difference> compareMappings(const Mappings& before, const Mappings& after) {
  std::vector<Difference> differences;
  const auto addMissing = [&](const Mappings& mappings, const Mappings& others, Kind kind) {
    for (const auto& mapping : mappings) {
      if (others.count(mapping) == 0) {
        differences.push_back({kind, mapping.first + " -> " + mapping.second, "", "", {}});
      }
    }
  };
  addMissing(before, after, Kind::removed);
  addMissing(after, before, Kind::added);
  return differences;
}

}  // namespace

Differences differencesOf(const ConfigurationDescription& before, const ConfigurationDescription& after) {
  Differences differences;
  compareText(differences.configuration, "configurationID", before.configurationID, after.configurationID);
  differences.serviceInterfaces = compareEntries(before.serviceInterfaces, after.serviceInterfaces);
  differences.servicePublishers = compareEntries(before.servicePublishers, after.servicePublishers);
  differences.serviceMappings = compareMappings(mappingsOf(before), mappingsOf(after));
  return differences;
}

}  // namespace spfctl
