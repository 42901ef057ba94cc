#include "BundleInstaller.hpp"

#include <algorithm>
#include <stdexcept>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/LDAPFilter.h>

namespace agent::host::services {

using cppmicroservices::Bundle;

namespace {

std::runtime_error failure(const char* what, const std::string& file, const char* reason) {
  return std::runtime_error(std::string(what) + " '" + file + "': " + reason);
}

bool isUninstalled(const Bundle& bundle) {
  return bundle.GetState() == Bundle::STATE_UNINSTALLED;
}

bool hasUninstalled(const std::vector<Bundle>& bundles) {
  return std::any_of(bundles.begin(), bundles.end(), isUninstalled);
}

/// Records in a set, for its lifetime, that a bundle is being started.
class StartingMark {
 public:
  StartingMark(std::set<long>& starting, long id) : starting_(starting), position_(starting.insert(id)) {}
  ~StartingMark() {
    if (isFirst()) {
      starting_.erase(position_.first);
    }
  }
  StartingMark(const StartingMark&) = delete;
  StartingMark& operator=(const StartingMark&) = delete;

  bool isFirst() const { return position_.second; }

 private:
  std::set<long>& starting_;
  const std::pair<std::set<long>::iterator, bool> position_;
};

}  // namespace

BundleInstaller::BundleInstaller(std::shared_ptr<cppmicroservices::Framework> framework, std::filesystem::path root,
                                 PermissionCheck permissionCheck)
    : framework_(std::move(framework)), root_(std::move(root)), permissionCheck_(permissionCheck) {}

BundleInstaller::Bundles BundleInstaller::installAndStart(const std::filesystem::path& directory) {
  const std::lock_guard<std::recursive_mutex> lock(mutex_);
  Bundles bundles = installDirectory(directory);
  for (const Bundle& bundle : bundles) {
    start(bundle);
  }
  return bundles;
}

std::pair<BundleInstaller::Bundles, BundleInstaller::Bundles> BundleInstaller::installAndStart(
    const std::filesystem::path& directory, const cppmicroservices::LDAPFilter& filter) {
  const std::lock_guard<std::recursive_mutex> lock(mutex_);
  Bundles bundles = installDirectory(directory);
  Bundles started;
  for (const Bundle& bundle : bundles) {
    if (filter.Match(bundle.GetHeaders())) {
      start(bundle);
      started.push_back(bundle);
    }
  }
  return {std::move(bundles), std::move(started)};
}

void BundleInstaller::installAndStartFile(const BundleFile& file) {
  const std::lock_guard<std::recursive_mutex> lock(mutex_);
  permissionCheck_.require(file);
  for (const Bundle& bundle : installLocation(file.path)) {
    start(bundle);
  }
}

void BundleInstaller::close() {
  const std::lock_guard<std::recursive_mutex> lock(mutex_);
  closed_ = true;
  directories_.clear();
  installed_.clear();
}

BundleInstaller::Bundles BundleInstaller::installDirectory(const std::filesystem::path& directory) {
  Bundles bundles;
  if (closed_) {
    return bundles;
  }
  auto& known = directories_.try_emplace(directory.native(), directory, root_).first->second;
  for (const BundleFile& file : known.list()) {
    permissionCheck_.require(file);
    const Bundles& ofFile = installFile(file);
    bundles.insert(bundles.end(), ofFile.begin(), ofFile.end());
  }
  return bundles;
}

const BundleInstaller::Bundles& BundleInstaller::installFile(const BundleFile& file) {
  const auto known = installed_.find(file.path.native());
  if (known != installed_.end() && known->second.identity == file.identity && !hasUninstalled(known->second.bundles)) {
    return known->second.bundles;
  }
  InstalledFile installed{file.identity, installLocation(file.path)};
  return installed_.insert_or_assign(file.path.native(), std::move(installed)).first->second.bundles;
}

BundleInstaller::Bundles BundleInstaller::installLocation(const std::filesystem::path& file) {
  try {
    return framework_->GetBundleContext().InstallBundles(file.native());
  } catch (const std::exception& error) {
    throw failure("Cannot install bundle file", file.native(), error.what());
  }
}

void BundleInstaller::start(Bundle bundle) {
  if (bundle.GetState() == Bundle::STATE_ACTIVE) {
    return;
  }
  const StartingMark mark(starting_, bundle.GetBundleId());
  if (!mark.isFirst()) {
    return;  // its own activator has called recursively
  }
  try {
    bundle.Start();
  } catch (const std::exception& error) {
    throw failure("Cannot start bundle file", bundle.GetLocation(), error.what());
  } catch (...) {
    throw failure("Cannot start bundle file", bundle.GetLocation(), "its activator threw no std::exception");
  }
}

}  // namespace agent::host::services
