#include "HostProcess.hpp"

#include <chrono>
#include <stdexcept>
#include <string>

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include "Locations.hpp"

namespace agent::host::services {

namespace fs = std::filesystem;

namespace {

BundleFile configurationAdminFile(const fs::path& given, const fs::path& root) {
  const fs::path path = given.empty() ? defaultConfigurationAdminBundle() : fs::absolute(given);
  if (auto file = findBundleFile(path, root)) {
    return *file;
  }
  throw std::runtime_error("No Configuration Admin bundle: '" + path.native() + "' is no regular file");
}

std::shared_ptr<cppmicroservices::Framework> makeFramework(const HostOptions& options,
                                                           std::optional<TemporaryFolder>& storage) {
  auto properties = options.frameworkProperties;
  if (properties.count(cppmicroservices::Constants::FRAMEWORK_STORAGE) == 0) {
    // The runtime's default would be a folder in the current directory.
    storage.emplace();
    properties[cppmicroservices::Constants::FRAMEWORK_STORAGE] = storage->path().native();
  }
  return std::make_shared<cppmicroservices::Framework>(cppmicroservices::FrameworkFactory().NewFramework(properties));
}

}  // namespace

HostProcess::HostProcess(const HostOptions& options)
    : root_(absoluteRoot(options.installationRoot)),
      permissionCheck_(options.permissionCheck),
      framework_(makeFramework(options, storage_)),
      installer_(framework_, root_, permissionCheck_) {}

HostProcess::~HostProcess() {
  stop();
}

void HostProcess::start(const fs::path& configurationAdminBundle) {
  framework_->Start();
  const BundleFile bundle = configurationAdminFile(configurationAdminBundle, root_);
  permissionCheck_.require(bundle);
  if (const auto companion = findCompanionOf(bundle, root_)) {
    permissionCheck_.require(*companion);
    loadCompanion(*companion);
  }
  installer_.installAndStartFile(bundle);
}

void HostProcess::stop() noexcept {
  try {
    installer_.close();
    framework_->Stop();
    // Without a limit, because the runtime can deadlock if a limit expires during the stop.
    framework_->WaitForStop(std::chrono::milliseconds::zero());
  } catch (...) {
    // No caller can handle it; a framework that never ran or has already stopped needs no stop.
  }
}

}  // namespace agent::host::services
