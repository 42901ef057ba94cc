#include "agent/host/services.hpp"

#include <boost/locale/encoding_utf.hpp>

#include "HostProcess.hpp"
#include "HostSlot.hpp"

namespace agent::host::services {

namespace {

// The standard library converts by the locale of the process, which is ASCII unless the program sets another one.
std::filesystem::path resolve(const HostProcess& process, const filesystem::path& directory) {
  return process.root() / boost::locale::conv::utf_to_utf<char>(directory.string(), boost::locale::conv::stop);
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
