#include "OwnHost.hpp"

#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <utility>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <dlfcn.h>

using cppmicroservices::Any;
using cppmicroservices::Bundle;
using cppmicroservices::Framework;
namespace fs = std::filesystem;

namespace {

std::shared_ptr<Framework> makeFramework() {
  std::string storage = (fs::temp_directory_path() / "own-host-XXXXXX").string();
  if (mkdtemp(storage.data()) == nullptr) {
    throw std::runtime_error("cannot make a folder like " + storage);
  }
  return std::make_shared<Framework>(cppmicroservices::FrameworkFactory().NewFramework(
      std::unordered_map<std::string, Any>{{cppmicroservices::Constants::FRAMEWORK_STORAGE, storage}}));
}

// CppMicroServices' Configuration Admin needs a library of its own folder, where the loader does not look.
void loadNeighbour(const fs::path& configurationAdminBundle) {
  const auto neighbour = configurationAdminBundle.parent_path() / "libusAsyncWorkService.so";
  if (fs::exists(neighbour) && dlopen(neighbour.c_str(), RTLD_NOW) == nullptr) {
    throw std::runtime_error(dlerror());
  }
}

}  // namespace

std::atomic<OwnHost*> OwnHost::current_ = nullptr;

OwnHost::OwnHost(fs::path root, const fs::path& configurationAdminBundle)
    : root_(std::move(root)), framework_(makeFramework()) {
  framework_->Start();
  loadNeighbour(configurationAdminBundle);
  for (auto& bundle : framework_->GetBundleContext().InstallBundles(configurationAdminBundle.string())) {
    bundle.Start();
  }
  current_ = this;
}

OwnHost::~OwnHost() {
  const fs::path storage =
      framework_->GetBundleContext().GetProperty(cppmicroservices::Constants::FRAMEWORK_STORAGE).ToString();
  current_ = nullptr;
  framework_->Stop();
  framework_->WaitForStop(std::chrono::milliseconds::zero());  // without a limit
  std::error_code ignored;
  fs::remove_all(storage, ignored);
}

std::vector<Bundle> OwnHost::install(const fs::path& directory) {
  const std::lock_guard<std::mutex> lock(mutex_);
  std::vector<Bundle> bundles;
  std::error_code missing;
  std::set<fs::path> files;
  for (const auto& entry : fs::directory_iterator(root_ / directory, missing)) {
    if (entry.is_regular_file() && (entry.path().extension() == ".so" || entry.path().extension() == ".zip")) {
      files.insert(entry.path());
    }
  }
  for (const auto& file : files) {
    for (auto& bundle : framework_->GetBundleContext().InstallBundles(file.string())) {
      bundles.push_back(bundle);
    }
  }
  directories_.insert(directory);
  return bundles;
}

std::size_t OwnHost::installedDirectories() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return directories_.size();
}
