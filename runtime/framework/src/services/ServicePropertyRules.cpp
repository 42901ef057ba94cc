#include "services/ServicePropertyRules.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "cppmicroservices/Constants.h"

namespace cppmicroservices {

namespace {

void insert(AnyMap& properties, const std::string& key, Any value) {
  if (!properties.emplace(key, std::move(value)).second) {
    throw std::runtime_error("Properties contain case variants of the key: " + key);
  }
}

/// Requires that a property has that type, if it exists.
/// \param name  the property's name in the message
void requireType(const AnyMap& properties, const std::string& key, const std::type_info& type, const char* name,
                 const char* typeName) {
  const auto found = properties.find(key);
  if (found != properties.end() && found->second.Type() != type) {
    throw std::invalid_argument(std::string(name) + " property has unexpected value type. Expected type: " + typeName);
  }
}

void requireTypes(const AnyMap& properties) {
  requireType(properties, Constants::SERVICE_RANKING, typeid(int), "SERVICE_RANKING", "int");
  requireType(properties, Constants::SERVICE_ID, typeid(long), "SERVICE_ID", "long");
  requireType(properties, Constants::SERVICE_SCOPE, typeid(std::string), "SERVICE_SCOPE", "std::string");
  requireType(properties, Constants::OBJECTCLASS, typeid(std::vector<std::string>), "OBJECTCLASS",
              "std::vector<std::string>");
}

}  // namespace

std::shared_ptr<const AnyMap> propertiesForRegistration(const ServiceProperties& given,
                                                        const ServiceIdentity& identity) {
  auto properties = std::make_shared<AnyMap>(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
  for (const auto& [key, value] : given) {
    insert(*properties, key, value);
  }
  const auto addOwn = [&](const std::string& key, const auto& value) {
    if (given.count(key) == 0) {
      insert(*properties, key, value);
    }
  };
  addOwn(Constants::OBJECTCLASS, identity.classes);
  addOwn(Constants::SERVICE_ID, identity.id);
  addOwn(Constants::SERVICE_SCOPE, identity.scope);
  requireTypes(*properties);
  return properties;
}

std::shared_ptr<const AnyMap> propertiesForChange(const ServiceProperties& given, const AnyMap& before) {
  const auto fixed = {&Constants::OBJECTCLASS, &Constants::SERVICE_ID, &Constants::SERVICE_SCOPE};
  auto properties = std::make_shared<AnyMap>(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
  for (const auto* const key : fixed) {
    properties->emplace(*key, before.at(*key));
  }
  for (const auto& [key, value] : given) {
    if (std::none_of(fixed.begin(), fixed.end(), [&name = key](const auto* own) { return *own == name; })) {
      insert(*properties, key, value);
    }
  }
  requireTypes(*properties);
  return properties;
}

int rankingIn(const AnyMap& properties) {
  const auto found = properties.find(Constants::SERVICE_RANKING);
  return found == properties.end() ? 0 : any_cast<int>(found->second);
}

long idIn(const AnyMap& properties) {
  return any_cast<long>(properties.at(Constants::SERVICE_ID));
}

}  // namespace cppmicroservices
