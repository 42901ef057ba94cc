// The functions through which the library uses its host. The linker finds them in the executable first, because the
// executable exports them (ENABLE_EXPORTS).

#include <algorithm>
#include <iterator>

#include <agent/host/services.hpp>
#include "OwnHost.hpp"

using cppmicroservices::Bundle;

namespace agent::host::services {

std::shared_ptr<cppmicroservices::Framework> getFramework() {
  const auto* host = OwnHost::current();
  return host != nullptr ? host->framework() : nullptr;
}

std::pair<std::vector<Bundle>, std::vector<Bundle>> installAndStart(filesystem::path directory,
                                                                    const cppmicroservices::LDAPFilter& filter) {
  auto* host = OwnHost::current();
  if (host == nullptr) {
    return {};
  }
  auto bundles = host->install(directory.string());
  std::vector<Bundle> started;
  std::copy_if(bundles.begin(), bundles.end(), std::back_inserter(started),
               [&](const Bundle& bundle) { return filter.Match(bundle); });
  for (auto& bundle : started) {
    bundle.Start();
  }
  return {bundles, started};
}

std::vector<Bundle> installAndStart(filesystem::path directory) {
  auto* host = OwnHost::current();
  if (host == nullptr) {
    return {};
  }
  auto bundles = host->install(directory.string());
  for (auto& bundle : bundles) {
    bundle.Start();
  }
  return bundles;
}

}  // namespace agent::host::services
