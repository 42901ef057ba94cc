#include "EtcdDiscovery.hpp"

#include <stdexcept>

namespace spf::etcddiscovery {

std::vector<DiscoveredAddress> EtcdDiscovery::addressesOf(const std::string& name) const {
  for (const auto& other : discoveries_()) {
    if (other.get() == this) {
      continue;
    }
    try {
      return other->addressesOf(name);
    } catch (const std::runtime_error&) {
      // It does not know the name either.
    }
  }
  auto addresses = names_->of(name);
  if (addresses.empty()) {
    const std::string trouble = names_->trouble();
    throw std::runtime_error(trouble.empty() ? "no host announces the name in etcd" : trouble);
  }
  return addresses;
}

}  // namespace spf::etcddiscovery
