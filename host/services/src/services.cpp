#include "agent/host/services.hpp"

#include "HostProcess.hpp"
#include "HostSlot.hpp"

namespace agent::host::services {

namespace {

std::filesystem::path resolve(const HostProcess& process, const filesystem::path& directory) {
  return process.root() / std::filesystem::path(directory.string());
}

}  // namespace

std::shared_ptr<cppmicroservices::Framework> getFramework() {
  const auto process = HostSlot::instance().current();
  return process ? process->framework() : nullptr;
}

std::vector<cppmicroservices::Bundle> installAndStart(filesystem::path directory) {
  const auto process = HostSlot::instance().current();
  if (!process) {
    return {};
  }
  return process->installer().installAndStart(resolve(*process, directory));
}

std::pair<std::vector<cppmicroservices::Bundle>, std::vector<cppmicroservices::Bundle>> installAndStart(
    filesystem::path directory, const cppmicroservices::LDAPFilter& filter) {
  const auto process = HostSlot::instance().current();
  if (!process) {
    return {};
  }
  return process->installer().installAndStart(resolve(*process, directory), filter);
}

}  // namespace agent::host::services
