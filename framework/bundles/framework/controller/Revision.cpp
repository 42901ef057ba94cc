#include "Revision.hpp"

#include <map>
#include <stdexcept>

#include "agent/spf/frameworksupport/text.hpp"

namespace spf::controller {

using agent::spf::frameworksupport::text;
using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;
using cppmicroservices::ref_any_cast;
using List = std::vector<Any>;

namespace {

/// The interface entries by ID, and the IDs of the interfaces that are mapped to each publisher.
struct Services {
  std::map<std::string, const AnyMap*> byID;
  std::multimap<std::string, std::string> ofPublisher;
};

const List& list(const AnyMap& properties, const char* key) {
  return ref_any_cast<List>(properties.at(key));
}

Services readServices(const AnyMap& properties) {
  Services services;
  for (const Any& element : list(properties, "serviceConfigurations")) {
    const auto& entry = ref_any_cast<AnyMap>(element);
    services.byID.emplace(text(entry, "uniqueID"), &entry);
  }
  for (const Any& element : list(properties, "servicePublisherMappings")) {
    const auto& mapping = ref_any_cast<AnyMap>(element);
    services.ofPublisher.emplace(text(mapping, "publisherID"), text(mapping, "serviceID"));
  }
  return services;
}

List servicesOf(const std::string& publisherID, const Services& services) {
  List result;
  const auto mapped = services.ofPublisher.equal_range(publisherID);
  for (auto mapping = mapped.first; mapping != mapped.second; ++mapping) {
    const auto service = services.byID.find(mapping->second);
    if (service == services.byID.end()) {
      throw std::runtime_error("the service interface '" + mapping->second +
                               "' that is mapped to it is not in the configuration");
    }
    result.emplace_back(*service->second);
  }
  return result;
}

/// Joins the two parts by a separator that is escaped in the first one, because either may hold any character: two
/// different pairs never have the same name.
std::string instanceName(const std::string& configurationPID, const std::string& publisherID) {
  std::string name;
  for (const char character : configurationPID) {
    if (character == '%') {
      name += "%25";
    } else if (character == '/') {
      name += "%2F";
    } else {
      name += character;
    }
  }
  return name + '/' + publisherID;
}

/// Returns the ID of the configuration with a PID: the name of the instance of its factory.
std::string configurationID(const std::string& pid) {
  const auto separator = pid.find('~');
  return separator == std::string::npos ? pid : pid.substr(separator + 1);
}

Publisher readPublisher(const std::string& pid, const std::string& id, const AnyMap& entry, const Services& services,
                        std::uint32_t modificationCount) {
  AnyMap properties(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
  properties["uniqueID"] = id;
  properties["name"] = text(entry, "name");
  properties["config"] = ref_any_cast<AnyMap>(entry.at("config"));
  properties["services"] = servicesOf(id, services);
  properties["configurationID"] = configurationID(pid);
  properties["modificationCount"] = static_cast<int>(modificationCount);
  return {{text(entry, "factoryPID"), instanceName(pid, id)}, id, std::move(properties)};
}

}  // namespace

std::uint32_t modificationCountOf(const AnyMap& properties) {
  return static_cast<std::uint32_t>(any_cast<int>(properties.at("modificationCount")));
}

Revision readRevision(const std::string& pid, const AnyMap& properties) {
  Revision revision;
  revision.modificationCount = modificationCountOf(properties);
  const Services services = readServices(properties);
  const List& publishers = list(properties, "servicePublisherConfigurations");
  revision.publishers.reserve(publishers.size());
  for (const Any& element : publishers) {
    const auto& entry = ref_any_cast<AnyMap>(element);
    const std::string id = text(entry, "uniqueID");
    try {
      revision.publishers.push_back(readPublisher(pid, id, entry, services, revision.modificationCount));
    } catch (const std::exception& error) {
      revision.unreadable.push_back(
          {id, std::make_exception_ptr(std::runtime_error("publisher '" + id + "' cannot be read: " + error.what()))});
    }
  }
  return revision;
}

}  // namespace spf::controller
