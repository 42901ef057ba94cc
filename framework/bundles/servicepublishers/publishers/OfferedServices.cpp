#include "OfferedServices.hpp"

#include <stdexcept>

#include <cppmicroservices/LDAPFilter.h>
#include "agent/spf/frameworksupport/findValue.hpp"

namespace spf::publishers {

using agent::spf::frameworksupport::findValue;
using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;
using cppmicroservices::LDAPFilter;

namespace {

constexpr auto servicesHeader = "spf.services";

LDAPFilter parse(const char* what, const std::string& filter) {
  try {
    return LDAPFilter(filter);
  } catch (const std::invalid_argument& error) {
    throw std::runtime_error(std::string("bad ") + what + " '" + filter + "': " + error.what());
  }
}

bool matches(const LDAPFilter& filter, const std::string& interfaceName, const AnyMap* given) {
  AnyMap properties = given != nullptr ? *given : AnyMap(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
  properties["interface"] = interfaceName;
  return filter.Match(properties);
}

}  // namespace

void requireFilter(const char* what, const std::string& filter) {
  if (!filter.empty()) {
    parse(what, filter);
  }
}

OfferedServices::OfferedServices(cppmicroservices::BundleContext context) : bundles_(context.GetBundles()) {
  for (const auto& bundle : bundles_) {
    read(bundle.GetHeaders());
  }
}

std::vector<MappedService> OfferedServices::select(const std::vector<MappedService>& services,
                                                   const std::string& exportFilter) const {
  const LDAPFilter filter = exportFilter.empty() ? LDAPFilter() : parse("exportFilter", exportFilter);
  std::vector<MappedService> selected;
  for (const MappedService& service : services) {
    const auto offers = offers_.equal_range(service.name);
    if (offers.first == offers.second) {
      throw std::runtime_error("no installed bundle offers the service interface '" + service.name + "'");
    }
    for (auto offer = offers.first; offer != offers.second; ++offer) {
      if (exportFilter.empty() || matches(filter, service.name, offer->second)) {
        selected.push_back(service);
        break;
      }
    }
  }
  return selected;
}

void OfferedServices::read(const AnyMap& headers) {
  const auto* services = findValue<std::vector<Any>>(headers, servicesHeader);
  if (services == nullptr) {
    return;
  }
  for (const Any& element : *services) {
    const auto* offer = any_cast<AnyMap>(&element);
    const auto* name = offer != nullptr ? findValue<std::string>(*offer, "interface") : nullptr;
    if (name == nullptr) {
      continue;
    }
    offers_.emplace(*name, findValue<AnyMap>(*offer, "properties"));
  }
}

}  // namespace spf::publishers
