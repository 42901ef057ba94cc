#include "HostDouble.hpp"

#include <mutex>
#include <stdexcept>

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/LDAPFilter.h>

#include "agent/host/services.hpp"

namespace spf::test {

namespace {

struct State {
  std::shared_ptr<cppmicroservices::Framework> framework;
  std::function<void()> onGetFramework;
  std::function<void(const Installation&)> onInstallation;
  std::vector<Installation> installations;
};

std::mutex mutex;
std::unique_ptr<State> state;

void install(const agent::host::filesystem::path& directory, std::optional<std::string> filter) {
  const Installation installation{directory.string(), directory.flag(), std::move(filter)};
  std::function<void(const Installation&)> action;
  {
    const std::lock_guard<std::mutex> lock(mutex);
    if (!state) {
      return;
    }
    state->installations.push_back(installation);
    action = state->onInstallation;
  }
  if (action) {
    action(installation);
  }
}

}  // namespace

HostDouble::HostDouble() {
  const std::lock_guard<std::mutex> lock(mutex);
  if (state) {
    throw std::logic_error("there is a HostDouble already");
  }
  state = std::make_unique<State>();
}

HostDouble::~HostDouble() {
  std::unique_ptr<State> last;
  const std::lock_guard<std::mutex> lock(mutex);
  last.swap(state);
}

void HostDouble::setFramework(std::shared_ptr<cppmicroservices::Framework> framework) {
  const std::lock_guard<std::mutex> lock(mutex);
  state->framework = std::move(framework);
}

void HostDouble::onGetFramework(std::function<void()> action) {
  const std::lock_guard<std::mutex> lock(mutex);
  state->onGetFramework = std::move(action);
}

void HostDouble::onInstallation(std::function<void(const Installation&)> action) {
  const std::lock_guard<std::mutex> lock(mutex);
  state->onInstallation = std::move(action);
}

std::vector<Installation> HostDouble::installations() const {
  const std::lock_guard<std::mutex> lock(mutex);
  return state->installations;
}

void HostDouble::forgetInstallations() {
  const std::lock_guard<std::mutex> lock(mutex);
  std::vector<Installation>().swap(state->installations);
}

}  // namespace spf::test

namespace agent::host::services {

std::shared_ptr<cppmicroservices::Framework> getFramework() {
  std::function<void()> action;
  std::shared_ptr<cppmicroservices::Framework> framework;
  {
    const std::lock_guard<std::mutex> lock(spf::test::mutex);
    if (!spf::test::state) {
      return nullptr;
    }
    action = spf::test::state->onGetFramework;
    framework = spf::test::state->framework;
  }
  if (action) {
    action();
  }
  return framework;
}

std::vector<cppmicroservices::Bundle> installAndStart(filesystem::path directory) {
  spf::test::install(directory, std::nullopt);
  return {};
}

std::pair<std::vector<cppmicroservices::Bundle>, std::vector<cppmicroservices::Bundle>> installAndStart(
    filesystem::path directory, const cppmicroservices::LDAPFilter& filter) {
  spf::test::install(directory, filter.ToString());
  return {};
}

}  // namespace agent::host::services
