#include "agent/host/host.hpp"

#include "HostProcess.hpp"
#include "HostSlot.hpp"

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

}  // namespace agent::host::services
