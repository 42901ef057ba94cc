#include "RunningFramework.hpp"

#include <filesystem>
#include <stdexcept>

#include <cppmicroservices/Constants.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <dlfcn.h>
#include <stdlib.h>

namespace spf::benchmarks {

using cppmicroservices::Any;

namespace {

std::string temporaryFolder() {
  std::string name = (std::filesystem::temp_directory_path() / "spf-benchmark-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) {
    throw std::runtime_error("cannot make a temporary folder");
  }
  return name;
}

cppmicroservices::Framework frameworkIn(const std::string& storage) {
  return cppmicroservices::FrameworkFactory().NewFramework(
      cppmicroservices::FrameworkConfiguration{{cppmicroservices::Constants::FRAMEWORK_STORAGE, Any(storage)}});
}

// Some Configuration Admin bundles need a library from their own folder and have no run path.
void loadNeighbour(const std::filesystem::path& bundle, const char* name) {
  const auto neighbour = bundle.parent_path() / name;
  if (std::filesystem::exists(neighbour)) {
    dlopen(neighbour.c_str(), RTLD_NOW | RTLD_GLOBAL);
  }
}

}  // namespace

RunningFramework::RunningFramework() : storage_(temporaryFolder()), framework_(frameworkIn(storage_)) {
  framework_.Start();
}

RunningFramework::~RunningFramework() {
  stop();
  std::error_code ignored;
  std::filesystem::remove_all(storage_, ignored);
}

void RunningFramework::registerStations(int count) {
  stations_.reserve(stations_.size() + static_cast<std::size_t>(count));
  for (int index = 0; index < count; ++index) {
    stations_.push_back(context().RegisterService<Station>(std::make_shared<Station>(), {{"index", Any(index)}}));
  }
}

cppmicroservices::Bundle RunningFramework::installConfigurationAdmin() {
  const std::filesystem::path file = SPF_CONFIGURATION_ADMIN;
  loadNeighbour(file, "libusAsyncWorkService.so");
  return context().InstallBundles(file.string()).front();
}

std::shared_ptr<cm::ConfigurationAdmin> RunningFramework::startConfigurationAdmin() {
  installConfigurationAdmin().Start();
  return context().GetService(context().GetServiceReference<cm::ConfigurationAdmin>());
}

void RunningFramework::stop() {
  framework_.Stop();
  framework_.WaitForStop(std::chrono::milliseconds::zero());
}

}  // namespace spf::benchmarks
