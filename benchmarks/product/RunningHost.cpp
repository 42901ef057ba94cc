#include "RunningHost.hpp"

#include <memory>

#include <cppmicroservices/Framework.h>

#include "agent/host/host.hpp"
#include "agent/host/services.hpp"
#include "setup/installFrameworkBundles.hpp"

namespace spf::benchmarks {

using agent::host::services::Host;

namespace {

std::unique_ptr<Host> running;

}  // namespace

void startHost() {
  if (running) {
    return;
  }
  agent::host::services::HostOptions options;
  options.permissionCheck = false;  // the build tree may have any permissions
  running = std::make_unique<Host>(std::move(options));
  agent::spf::frameworksetup::installFrameworkBundles();
}

void stopHost() {
  running.reset();
}

cppmicroservices::BundleContext hostContext() {
  return agent::host::services::getFramework()->GetBundleContext();
}

std::filesystem::path installationRoot() {
  return running->installationRoot();
}

std::vector<std::wstring> bundleDirectoryNames() {
  return {L"serialisationproviders",
          L"externalprocessdiscovery",
          L"providers",
          L"framework",
          L"servicepublishers",
          L"clients",
          L"serviceproviders"};
}

agent::host::filesystem::path bundleDirectory(const std::wstring& name) {
  agent::host::filesystem::path path;
  path.append(L"bin").append(L"win64").append(L"spf").append(name);
  return path;
}

}  // namespace spf::benchmarks
