#include "setup/installFrameworkBundles.hpp"

#include <vector>

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/LDAPFilter.h>

#include "agent/host/filesystem.hpp"
#include "agent/host/services.hpp"

namespace agent::spf::frameworksetup {

namespace {

using agent::host::filesystem::path;
using agent::host::services::installAndStart;

path bundleDirectory(path root, const wchar_t* name) {
  root.append(name);
  return root;
}

}  // namespace

void installFrameworkBundles() {
  // Relative: the host resolves it against its installation root.
  path root;
  root.append(L"bin").append(L"win64").append(L"spf");

  std::vector<path> directories;
  for (const auto* name : {L"serialisationproviders", L"externalprocessdiscovery", L"providers", L"framework",
                           L"servicepublishers", L"clients"}) {
    directories.push_back(bundleDirectory(root, name));
  }
  const path serviceProviders = bundleDirectory(root, L"serviceproviders");

  for (const auto& directory : directories) {
    installAndStart(directory);
  }
  // Service providers only describe what they offer; one with an activator is not for us to start.
  installAndStart(serviceProviders, cppmicroservices::LDAPFilter("(bundle.activator=false)"));
}

}  // namespace agent::spf::frameworksetup
