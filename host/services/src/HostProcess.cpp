#include "HostProcess.hpp"

#include <chrono>
#include <string>

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>

#include "Locations.hpp"

namespace agent::host::services {

namespace fs = std::filesystem;

namespace {

fs::path rootOf(const HostOptions& options) {
  return fs::weakly_canonical(options.installationRoot.empty() ? defaultInstallationRoot() : options.installationRoot);
}

std::shared_ptr<cppmicroservices::Framework> makeFramework(const HostOptions& options,
                                                           std::optional<TemporaryFolder>& storage) {
  auto properties = options.frameworkProperties;
  if (properties.count(cppmicroservices::Constants::FRAMEWORK_STORAGE) == 0) {
    // The runtime's own default is a folder in the current directory.
    storage.emplace();
    properties[cppmicroservices::Constants::FRAMEWORK_STORAGE] = storage->path().native();
  }
  return std::make_shared<cppmicroservices::Framework>(cppmicroservices::FrameworkFactory().NewFramework(properties));
}

}  // namespace

HostProcess::HostProcess(const HostOptions& options)
    : root_(rootOf(options)),
      framework_(makeFramework(options, storage_)),
      installer_(framework_, PermissionCheck(root_, options.permissionCheck)) {}

HostProcess::~HostProcess() {
  stop();
}

void HostProcess::start(const fs::path& configurationAdminBundle) {
  framework_->Start();
  const fs::path bundle =
      configurationAdminBundle.empty() ? defaultConfigurationAdminBundle() : fs::absolute(configurationAdminBundle);
  loadCompanionOf(bundle);
  installer_.installAndStartFile(bundle);
}

void HostProcess::stop() noexcept {
  try {
    installer_.close();
    framework_->Stop();
    // Without a limit: the runtime can deadlock when a limit runs out during the stop.
    framework_->WaitForStop(std::chrono::milliseconds::zero());
  } catch (...) {
    // Nobody is left to tell; a framework that never ran or has stopped needs no stop.
  }
}

}  // namespace agent::host::services
