#include "ConfigurationAdminFixture.hpp"

#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <dlfcn.h>

#include <chrono>
#include <filesystem>

namespace spf::test {

namespace {

const std::string bundleFile = SPF_CONFIGURATION_ADMIN_FILE;

// Some Configuration Admins need this library, and have no run path with which the loader could find it.
void loadCompanion() {
  const auto companion = std::filesystem::path(bundleFile).parent_path() / "libusAsyncWorkService.so";
  if (std::filesystem::exists(companion)) {
    dlopen(companion.c_str(), RTLD_NOW | RTLD_GLOBAL);
  }
}

}  // namespace

void Journal::write(std::string entry) {
  const std::lock_guard<std::mutex> lock(mutex_);
  entries_.push_back(std::move(entry));
  written_.notify_all();
}

std::vector<std::string> Journal::entries() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return entries_;
}

std::vector<std::string> Journal::waitFor(std::size_t count) const {
  std::unique_lock<std::mutex> lock(mutex_);
  written_.wait_for(lock, patience, [&] { return entries_.size() >= count; });
  return entries_;
}

AnyMap valued(int value) {
  AnyMap properties(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
  properties["value"] = value;
  return properties;
}

std::string textOf(const AnyMap& properties) {
  const auto found = properties.find("value");
  return found == properties.end() ? "=" : "=" + found->second.ToString();
}

void RecordingFactory::Updated(const std::string& pid, const AnyMap& properties) {
  journal_.write(name_ + " " + pid + textOf(properties));
  onUpdated(pid);
}

void RecordingFactory::Removed(const std::string& pid) {
  journal_.write(name_ + " " + pid + " removed");
  onRemoved(pid);
}

void RecordingService::Updated(const AnyMap& properties) {
  journal_.write(name_ + textOf(properties));
  onUpdated();
}

void RecordingListener::configurationEvent(const ConfigurationEvent& event) {
  const auto* const type = event.getType() == ConfigurationEventType::CM_UPDATED ? "updated" : "deleted";
  journal_.write(std::string("event ") + type + " pid:" + event.getPid() + " factory:" + event.getFactoryPid());
  onEvent(event);
}

ConfigurationAdminFixture::ConfigurationAdminFixture()
    : framework(cppmicroservices::FrameworkFactory().NewFramework()) {
  loadCompanion();
  framework.Start();
  startConfigurationAdmin();
}

void ConfigurationAdminFixture::startConfigurationAdmin() {
  bundle = context().InstallBundles(bundleFile).at(0);
  bundle.Start();
  admin = context().GetService(context().GetServiceReference<ConfigurationAdmin>());
}

ConfigurationAdminFixture::~ConfigurationAdminFixture() {
  unblockDeliveries();
  stopFramework();
}

void ConfigurationAdminFixture::blockDeliveries() {
  const auto factory = std::make_shared<RecordingFactory>(journal, "blocker");
  factory->onUpdated = [this](const std::string&) {
    blocked.open();
    EXPECT_TRUE(unblocked.wait());
  };
  registerWithPid(factory, "blocker");
  admin->GetFactoryConfiguration("blocker", "it")->Update(valued(0));
  ASSERT_TRUE(blocked.wait());
}

void ConfigurationAdminFixture::stopFramework() {
  admin.reset();
  framework.Stop();
  framework.WaitForStop(std::chrono::milliseconds::zero());
}

}  // namespace spf::test
