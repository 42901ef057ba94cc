#include "file/ConfigurationFile.hpp"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <set>

#include "agent/spf/frameworksetup/addRequiredRuntimeServiceProperties.hpp"
#include "file/JsonDocument.hpp"
#include "file/jsonValues.hpp"

namespace spfctl {

namespace {

using agent::spf::frameworksetup::addRequiredRuntimeServiceProperties;
using agent::spf::frameworksetup::SPFServicePublisherConfiguration;
using Kind = JsonValue::Kind;

// Reads one document. Every function reads the value that it is given, and throws a FileError that names
// the position and what was expected there.
class Reader {
 public:
  explicit Reader(const JsonDocument& document) : document_(document) {}

  ConfigurationDescription configuration(const JsonValue& value) {
    ConfigurationDescription description;
    object(value, "the configuration",
           {{"configurationID", [&](const JsonValue& member) { description.configurationID = text(member); }},
            {"serviceInterfaces", [&](const JsonValue& member) { serviceInterfaces(member, description); }},
            {"servicePublishers", [&](const JsonValue& member) { servicePublishers(member, description); }},
            {"serviceMappings", [&](const JsonValue& member) { serviceMappings(member, description); }}},
           {});
    return description;
  }

 private:
  struct Key {
    const char* name;
    std::function<void(const JsonValue&)> read;
  };

  void serviceInterfaces(const JsonValue& value, ConfigurationDescription& description) {
    std::set<std::string> ids;
    for (const auto& element : array(value)) {
      description.serviceInterfaces.push_back(serviceInterface(element));
      unique(element, description.serviceInterfaces.back().record.uniqueID, ids);
    }
  }

  ConfigurationDescription::ServiceInterface serviceInterface(const JsonValue& value) {
    ConfigurationDescription::ServiceInterface result;
    auto& record = result.record;
    const JsonValue* requiredProperties = nullptr;
    object(
        value, "a service interface",
        {{"uniqueID", [&](const JsonValue& member) { record.uniqueID = text(member); }},
         {"name", [&](const JsonValue& member) { record.name = text(member); }},
         {"requestedProperties", [&](const JsonValue& member) { requestedProperties(member, record); }},
         {"requiredRuntimeServiceProperties", [&](const JsonValue& member) { requiredProperties = &member; }},
         {"toAllServicePublishers", [&](const JsonValue& member) { result.toAllServicePublishers = boolean(member); }}},
        {"uniqueID", "name"});
    // After the requested ones, whatever their order in the file.
    if (requiredProperties != nullptr) {
      expect(*requiredProperties, Kind::object);
      for (const auto& member : requiredProperties->members) {
        addRequiredRuntimeServiceProperties(record.requestedProperties, member.key, text(member.value));
      }
    }
    return result;
  }

  template <class Record>
  void requestedProperties(const JsonValue& value, Record& record) {
    expect(value, Kind::object);
    auto tree = toTree(value);
    record.requestedProperties.swap(tree);
  }

  void servicePublishers(const JsonValue& value, ConfigurationDescription& description) {
    std::set<std::string> ids;
    for (const auto& element : array(value)) {
      description.servicePublishers.push_back(servicePublisher(element));
      unique(element, description.servicePublishers.back().uniqueID, ids);
    }
  }

  SPFServicePublisherConfiguration servicePublisher(const JsonValue& value) {
    SPFServicePublisherConfiguration record;
    object(value, "a service publisher",
           {{"uniqueID", [&](const JsonValue& member) { record.uniqueID = text(member); }},
            {"name", [&](const JsonValue& member) { record.name = text(member); }},
            {"endpointsToConnectTo", [&](const JsonValue& member) { record.endpointsToConnectTo = anys(member); }},
            {"endpointsToBindTo", [&](const JsonValue& member) { record.endpointsToBindTo = anys(member); }},
            {"importFilter", [&](const JsonValue& member) { record.importFilter = text(member); }},
            {"exportFilter", [&](const JsonValue& member) { record.exportFilter = text(member); }}},
           {"uniqueID", "name"});
    return record;
  }

  void serviceMappings(const JsonValue& value, ConfigurationDescription& description) {
    for (const auto& element : array(value)) {
      auto& mapping = description.serviceMappings.emplace_back();
      object(element, "a service mapping",
             {{"serviceInterfaceID", [&](const JsonValue& member) { mapping.first = text(member); }},
              {"servicePublisherID", [&](const JsonValue& member) { mapping.second = text(member); }}},
             {"serviceInterfaceID", "servicePublisherID"});
    }
  }

  // Reads every member with its key's reader. Refuses other keys, and requires the required ones.
  void object(const JsonValue& value, const std::string& what, const std::vector<Key>& keys,
              const std::vector<std::string>& required) {
    expect(value, Kind::object);
    std::set<std::string> missing(required.begin(), required.end());
    for (const auto& member : value.members) {
      reader(member, what, keys)(member.value);
      missing.erase(member.key);
    }
    if (!missing.empty()) {
      throw document_.error(value.offset, what + " has no '" + *missing.begin() + "'");
    }
  }

  const std::function<void(const JsonValue&)>& reader(const JsonValue::Member& member, const std::string& what,
                                                      const std::vector<Key>& keys) {
    std::string expected;
    for (const auto& key : keys) {
      if (member.key == key.name) {
        return key.read;
      }
      expected += expected.empty() ? "" : ", ";
      expected += key.name;
    }
    throw document_.error(member.offset,
                          "unknown key '" + member.key + "' in " + what + "; expected one of " + expected);
  }

  void unique(const JsonValue& value, const std::string& id, std::set<std::string>& ids) {
    if (!ids.insert(id).second) {
      throw document_.error(value.offset, "the uniqueID '" + id + "' is given twice");
    }
  }

  void expect(const JsonValue& value, Kind kind) {
    if (value.kind != kind) {
      throw document_.error(value.offset, std::string("expected ") + nameOf(kind) + ", found " + nameOf(value.kind));
    }
  }

  const std::string& text(const JsonValue& value) {
    expect(value, Kind::string);
    return value.text;
  }

  bool boolean(const JsonValue& value) {
    expect(value, Kind::boolean);
    return value.text == "true";
  }

  const std::vector<JsonValue>& array(const JsonValue& value) {
    expect(value, Kind::array);
    return value.elements;
  }

  std::vector<cppmicroservices::Any> anys(const JsonValue& value) {
    std::vector<cppmicroservices::Any> list;
    for (const auto& element : array(value)) {
      list.push_back(toAny(document_, element));
    }
    return list;
  }

  const JsonDocument& document_;
};

std::string readFile(const std::filesystem::path& file) {
  std::error_code ignored;
  if (std::filesystem::is_directory(file, ignored)) {
    throw FileError(file.string() + ": is a directory; expected a configuration file");
  }
  errno = 0;
  std::ifstream stream(file, std::ios::binary);
  std::string text{std::istreambuf_iterator<char>(stream), {}};
  if (!stream.is_open() || stream.bad()) {
    throw FileError(file.string() + ": cannot be read: " + std::strerror(errno));
  }
  return text;
}

}  // namespace

ConfigurationDescription readConfiguration(std::string name, std::string text) {
  const JsonDocument document(std::move(name), std::move(text));
  return Reader(document).configuration(document.root());
}

ConfigurationDescription readConfigurationFile(const std::filesystem::path& file) {
  return readConfiguration(file.string(), readFile(file));
}

}  // namespace spfctl
