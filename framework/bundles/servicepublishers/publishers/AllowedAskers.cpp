#include "AllowedAskers.hpp"

#include <stdexcept>
#include <vector>

#include <cppmicroservices/AnyMap.h>
#include "agent/spf/frameworkinterfaces/curveProperties.hpp"
#include "agent/spf/frameworksupport/Address.hpp"
#include "agent/spf/frameworksupport/keyNames.hpp"
#include "agent/spf/frameworksupport/keysInMessages.hpp"

namespace spf::publishers {

using agent::spf::frameworkinterfaces::curveAllowProperty;
using agent::spf::frameworksupport::expectedKeyName;
using agent::spf::frameworksupport::isKeyName;
using agent::spf::frameworksupport::printable;
using agent::spf::frameworksupport::quotedUnlessKey;
using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;

namespace {

[[noreturn]] void refuse(const std::string& problem) {
  throw std::runtime_error(std::string("the framework property '") + curveAllowProperty + "'" + problem);
}

std::string readName(const std::string& publisherID, const Any& value) {
  const std::string entry = ": the entry '" + printable(publisherID) + "' ";
  const auto* name = any_cast<std::string>(&value);
  if (name == nullptr) {
    refuse(entry + "has an element that is no text; expected names of keys");
  }
  if (!isKeyName(*name)) {
    refuse(entry + "has " + quotedUnlessKey(*name) + ", which is no name of a key; expected " + expectedKeyName);
  }
  return *name;
}

std::set<std::string> readNames(const std::string& publisherID, const Any& value) {
  if (any_cast<std::string>(&value) != nullptr) {
    return {readName(publisherID, value)};
  }
  const auto* list = any_cast<std::vector<Any>>(&value);
  if (list == nullptr) {
    refuse(": the entry '" + printable(publisherID) +
           "' is neither a text nor a list; expected a name of a key or a list of names");
  }
  std::set<std::string> names;
  for (const Any& element : *list) {
    names.insert(readName(publisherID, element));
  }
  return names;
}

}  // namespace

AllowedAskers::AllowedAskers(const Any& value) {
  if (value.Empty()) {
    return;
  }
  const auto* map = any_cast<AnyMap>(&value);
  if (map == nullptr) {
    refuse(" is no map; expected a map of publishers' IDs to names of keys");
  }
  for (const auto& [publisherID, names] : *map) {
    names_[publisherID] = readNames(publisherID, names);
  }
}

void AllowedAskers::require(const std::string& publisherID, const std::string& asker) const {
  const auto allowed = names_.find(publisherID);
  if (allowed != names_.end() && allowed->second.count(asker) == 0) {
    throw std::runtime_error("the publisher '" + publisherID + "' does not answer " +
                             (asker.empty() ? "peers without a key" : "'" + asker + "'"));
  }
}

}  // namespace spf::publishers
