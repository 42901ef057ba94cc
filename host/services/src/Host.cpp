#include "agent/host/host.hpp"

#include <stdexcept>

#include "HostProcess.hpp"
#include "HostSlot.hpp"
#include "Locations.hpp"

namespace agent::host::services {

Host::Host(HostOptions options) {
  HostSlot::instance().claim();
  try {
    process_ = std::make_shared<HostProcess>(options);
    process_->start(options.configurationAdminBundle);
    HostSlot::instance().publish(process_);
  } catch (...) {
    // Before the release: the slot stays claimed until everything has stopped.
    process_.reset();
    HostSlot::instance().release();
    throw;
  }
}

Host::~Host() {
  process_->stop();
  HostSlot::instance().release();
}

const std::filesystem::path& Host::installationRoot() const noexcept {
  return process_->root();
}

std::string whyRefused(const std::filesystem::path& file, const std::filesystem::path& installationRoot) {
  const auto bundle = findBundleFile(std::filesystem::absolute(file), absoluteRoot(installationRoot));
  if (!bundle) {
    return "it is no regular file that can be reached";
  }
  try {
    const bool enabled = true;
    PermissionCheck(enabled).require(*bundle);
    return {};
  } catch (const std::runtime_error& refusal) {
    return refusal.what();
  }
}

}  // namespace agent::host::services
