#include "TableDiscovery.hpp"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include <cppmicroservices/AnyMap.h>
#include "agent/spf/frameworksupport/keyNames.hpp"

namespace spf::discovery {

using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;

namespace {

/// Splits off the name of a key. A malformed one stays in the address, where the publishers refuse it.
DiscoveredAddress fixedAddress(const std::string& text) {
  try {
    const auto split = agent::spf::frameworksupport::splitKey(text);
    return {split.address, split.key, ""};
  } catch (const std::runtime_error&) {
    return {text, "", ""};
  }
}

/// Adds an address, unless it is no text or there already.
void addFixed(const Any& value, std::vector<DiscoveredAddress>& addresses) {
  const auto* text = any_cast<std::string>(&value);
  if (text == nullptr) {
    return;
  }
  DiscoveredAddress address = fixedAddress(*text);
  if (std::find(addresses.begin(), addresses.end(), address) == addresses.end()) {
    addresses.push_back(std::move(address));
  }
}

std::vector<DiscoveredAddress> fixedAddresses(const Any& value) {
  std::vector<DiscoveredAddress> addresses;
  addFixed(value, addresses);
  if (const auto* list = any_cast<std::vector<Any>>(&value)) {
    for (const Any& element : *list) {
      addFixed(element, addresses);
    }
  }
  return addresses;
}

}  // namespace

TableDiscovery::TableDiscovery(const Any& table, std::function<void()> onChange)
    : announced_(std::make_shared<AnnouncedAddresses>(std::move(onChange))) {
  const auto* map = any_cast<AnyMap>(&table);
  if (map == nullptr) {
    return;
  }
  for (const auto& [name, value] : *map) {
    fixed_[name] = fixedAddresses(value);
  }
}

std::vector<DiscoveredAddress> TableDiscovery::addressesOf(const std::string& name) const {
  const auto fixed = fixed_.find(name);
  auto addresses = fixed != fixed_.end() ? fixed->second : std::vector<DiscoveredAddress>();
  auto announced = announced_->of(name);
  addresses.insert(addresses.end(), announced.begin(), announced.end());
  if (addresses.empty()) {
    throw std::runtime_error("the discovery does not know the name");
  }
  return addresses;
}

std::unique_ptr<Announcement> TableDiscovery::announce(const AnnouncedEndpoint& endpoint) {
  return announced_->add(endpoint);
}

}  // namespace spf::discovery
