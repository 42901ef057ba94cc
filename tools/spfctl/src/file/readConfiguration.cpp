#include "file/readConfiguration.hpp"

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <unordered_set>
#include <utility>

#include <cppmicroservices/LDAPFilter.h>

#include "agent/spf/frameworksetup/addRequiredRuntimeServiceProperties.hpp"
#include "file/configurationKeys.hpp"
#include "file/configurationWarnings.hpp"
#include "file/jsonValues.hpp"
#include "file/nearestName.hpp"

namespace spfctl {

namespace {

using agent::spf::frameworksetup::addRequiredRuntimeServiceProperties;
using agent::spf::frameworksetup::SPFServicePublisherConfiguration;
using Kind = JsonValue::Kind;

std::string unknownKey(const std::string& key, const ConfigurationObject& object) {
  std::vector<std::string> names;
  std::string list;
  for (const auto& known : object.keys) {
    names.emplace_back(known.name);
    list += (list.empty() ? "" : ", ") + names.back();
  }
  const auto nearest = nearestName(key, names);
  return "unknown key '" + key + "' in " + object.name + "; " +
         (nearest.empty() ? "expected one of " + list : "did you mean '" + nearest + "'?");
}

// Reads one document and goes on after every error. Each function reads the value that it is given.
class Reader {
 public:
  explicit Reader(Findings& findings) : findings_(findings) {}

  ConfigurationDescription configuration(const JsonValue& value) {
    ConfigurationDescription description;
    const JsonValue* mappings = nullptr;
    object(value, configurationObject,
           {{"configurationID", [&](const JsonValue& member) { description.configurationID = text(member); }},
            {"serviceInterfaces", [&](const JsonValue& member) { serviceInterfaces(member, description); }},
            {"servicePublishers", [&](const JsonValue& member) { servicePublishers(member, description); }},
            {"serviceMappings", [&](const JsonValue& member) { mappings = &member; }},
            {"$schema", [&](const JsonValue& member) { text(member); }}});
    // After the entries that they name, whatever the order in the file.
    if (mappings != nullptr) {
      serviceMappings(*mappings, description);
    }
    return description;
  }

 private:
  struct ReadingOfKey {
    const char* name;
    std::function<void(const JsonValue&)> read;
  };

  void serviceInterfaces(const JsonValue& value, ConfigurationDescription& description) {
    for (const auto& element : array(value)) {
      description.serviceInterfaces.push_back(serviceInterface(element));
      checkUnique(element, description.serviceInterfaces.back().record.uniqueID, interfaceIDs_);
    }
  }

  ConfigurationDescription::ServiceInterface serviceInterface(const JsonValue& value) {
    ConfigurationDescription::ServiceInterface result;
    auto& record = result.record;
    const JsonValue* requiredProperties = nullptr;
    object(value, serviceInterfaceObject,
           {{"uniqueID", [&](const JsonValue& member) { record.uniqueID = text(member); }},
            {"name", [&](const JsonValue& member) { record.name = text(member); }},
            {"requestedProperties", [&](const JsonValue& member) { requestedProperties(member, record); }},
            {"requiredRuntimeServiceProperties", [&](const JsonValue& member) { requiredProperties = &member; }},
            {"toAllServicePublishers",
             [&](const JsonValue& member) { result.toAllServicePublishers = boolean(member); }}});
    // After the requested ones, whatever their order in the file.
    if (requiredProperties != nullptr && is(*requiredProperties, Kind::object)) {
      for (const auto& member : requiredProperties->members) {
        addRequiredRuntimeServiceProperties(record.requestedProperties, member.key, text(member.value));
      }
    }
    return result;
  }

  template <class Record>
  void requestedProperties(const JsonValue& value, Record& record) {
    if (is(value, Kind::object)) {
      auto tree = toTree(value);
      record.requestedProperties.swap(tree);
    }
  }

  void servicePublishers(const JsonValue& value, ConfigurationDescription& description) {
    for (const auto& element : array(value)) {
      description.servicePublishers.push_back(servicePublisher(element));
      checkUnique(element, description.servicePublishers.back().uniqueID, publisherIDs_);
    }
  }

  SPFServicePublisherConfiguration servicePublisher(const JsonValue& value) {
    SPFServicePublisherConfiguration record;
    object(value, servicePublisherObject,
           {{"uniqueID", [&](const JsonValue& member) { record.uniqueID = text(member); }},
            {"name", [&](const JsonValue& member) { record.name = text(member); }},
            {"endpointsToConnectTo", [&](const JsonValue& member) { record.endpointsToConnectTo = anys(member); }},
            {"endpointsToBindTo", [&](const JsonValue& member) { record.endpointsToBindTo = anys(member); }},
            {"importFilter", [&](const JsonValue& member) { record.importFilter = filter(member); }},
            {"exportFilter", [&](const JsonValue& member) { record.exportFilter = filter(member); }}});
    return record;
  }

  void serviceMappings(const JsonValue& value, ConfigurationDescription& description) {
    for (const auto& element : array(value)) {
      auto& mapping = description.serviceMappings.emplace_back();
      object(element, serviceMappingObject,
             {{"serviceInterfaceID",
               [&](const JsonValue& member) { mapping.first = reference(member, interfaceIDs_, "ServiceInterface"); }},
              {"servicePublisherID", [&](const JsonValue& member) {
                 mapping.second = reference(member, publisherIDs_, "ServicePublisher");
               }}});
    }
  }

  // Reads every member with the reading of its key. Refuses other keys, and requires the required ones.
  void object(const JsonValue& value, const ConfigurationObject& object, const std::vector<ReadingOfKey>& readings) {
    if (!is(value, Kind::object)) {
      return;
    }
    std::unordered_set<std::string> present;
    for (const auto& member : value.members) {
      const auto reading = std::find_if(readings.begin(), readings.end(),
                                        [&](const ReadingOfKey& candidate) { return member.key == candidate.name; });
      if (reading == readings.end()) {
        findings_.error(member.offset, unknownKey(member.key, object));
      } else {
        reading->read(member.value);
        present.insert(member.key);
      }
    }
    for (const auto& key : object.keys) {
      if (key.isRequired && present.count(key.name) == 0) {
        findings_.error(value.offset, std::string(object.name) + " has no '" + key.name + "'; expected one");
      }
    }
  }

  // An entry without an ID is an error already.
  void checkUnique(const JsonValue& value, const std::string& id, std::unordered_set<std::string>& ids) {
    const bool hasID = std::any_of(value.members.begin(), value.members.end(), [](const JsonValue::Member& member) {
      return member.key == "uniqueID" && member.value.kind == Kind::string;
    });
    if (hasID && !ids.insert(id).second) {
      findings_.error(value.offset, "the uniqueID '" + id + "' is given twice; expected one entry of each");
    }
  }

  // Complains in the words of the library, which refuses such a mapping as well.
  const std::string& reference(const JsonValue& value, const std::unordered_set<std::string>& ids, const char* what) {
    const auto& id = text(value);
    if (value.kind == Kind::string && ids.count(id) == 0) {
      findings_.error(value.offset, std::string("ServiceMapping references an unknown ") + what + " Configuration " +
                                        id + "; expected the uniqueID of one");
    }
    return id;
  }

  bool is(const JsonValue& value, Kind kind) {
    if (value.kind != kind) {
      findings_.error(value.offset, std::string("found ") + nameOf(value.kind) + "; expected " + nameOf(kind));
    }
    return value.kind == kind;
  }

  const std::string& text(const JsonValue& value) {
    static const std::string none;
    return is(value, Kind::string) ? value.text : none;
  }

  const std::string& filter(const JsonValue& value) {
    const auto& filter = text(value);
    try {
      static_cast<void>(filter.empty() ? cppmicroservices::LDAPFilter() : cppmicroservices::LDAPFilter(filter));
    } catch (const std::exception&) {
      findings_.error(value.offset, "'" + filter + "' is no LDAP filter; expected one like (site=north)");
    }
    return filter;
  }

  bool boolean(const JsonValue& value) { return is(value, Kind::boolean) && value.text == "true"; }

  const std::vector<JsonValue>& array(const JsonValue& value) {
    is(value, Kind::array);
    return value.elements;
  }

  std::vector<cppmicroservices::Any> anys(const JsonValue& value) {
    std::vector<cppmicroservices::Any> list;
    for (const auto& element : array(value)) {
      list.push_back(toAny(element, findings_));
    }
    return list;
  }

  Findings& findings_;
  std::unordered_set<std::string> interfaceIDs_;
  std::unordered_set<std::string> publisherIDs_;
};

}  // namespace

CheckedConfiguration checkConfiguration(SourceText source) {
  CheckedConfiguration checked{std::move(source), {}, {}};
  const JsonDocument document(checked.source.text(), checked.findings);
  if (document.isComplete()) {
    checked.description = Reader(checked.findings).configuration(document.root());
    warnAbout(document.root(), checked.findings);
  }
  return checked;
}

}  // namespace spfctl
