#include "bundle/BundleInspector.hpp"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>

#include "agent/host/host.hpp"
#include "bundle/entryPoints.hpp"

namespace spfctl {

namespace {

using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;
using cppmicroservices::Bundle;

class TemporaryFolder {
 public:
  TemporaryFolder() {
    auto name = (std::filesystem::temp_directory_path() / "spfctl-XXXXXX").native();
    if (mkdtemp(name.data()) == nullptr) {
      throw std::system_error(errno, std::generic_category(), "cannot make the temporary folder '" + name + "'");
    }
    path_ = name;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

cppmicroservices::FrameworkConfiguration configurationWith(const TemporaryFolder& storage) {
  return {{cppmicroservices::Constants::FRAMEWORK_STORAGE, Any(storage.path().native())}};
}

std::string permissionText(std::filesystem::perms permissions) {
  static constexpr const char* letters = "rwxrwxrwx";
  std::string text;
  for (int bit = 0; bit < 9; ++bit) {
    const auto mask = static_cast<std::filesystem::perms>(0400U >> bit);
    text += (permissions & mask) == std::filesystem::perms::none ? '-' : letters[bit];
  }
  return text;
}

bool isTrue(const AnyMap& map, const char* key) {
  const auto entry = map.find(key);
  const auto* const flag = entry == map.end() ? nullptr : any_cast<bool>(&entry->second);
  return flag != nullptr && *flag;
}

std::vector<std::string> offeredServices(const AnyMap& manifest) {
  std::vector<std::string> names;
  const auto entry = manifest.find("spf.services");
  const auto* const services = entry == manifest.end() ? nullptr : any_cast<std::vector<Any>>(&entry->second);
  for (const auto& service : services == nullptr ? std::vector<Any>() : *services) {
    const auto* const map = any_cast<AnyMap>(&service);
    const auto name = map == nullptr ? AnyMap::const_iterator() : map->find("interface");
    if (map != nullptr && name != map->end()) {
      names.push_back(name->second.ToString());
    }
  }
  return names;
}

BundleContent contentOf(const Bundle& bundle) {
  BundleContent content;
  content.symbolicName = bundle.GetSymbolicName();
  content.version = bundle.GetVersion().ToString();
  content.manifest = bundle.GetHeaders();
  content.hasActivator = isTrue(content.manifest, "bundle.activator");
  content.offeredServices = offeredServices(content.manifest);
  return content;
}

}  // namespace

// A framework that is initialised but never started: it reads containers and manifests, and loads no library.
class BundleInspector::Framework {
 public:
  Framework() : framework_(cppmicroservices::FrameworkFactory().NewFramework(configurationWith(storage_))) {
    framework_.Init();
  }
  ~Framework() {
    try {
      framework_.Stop();
      framework_.WaitForStop(std::chrono::milliseconds::zero());
    } catch (const std::exception&) {
      // Nothing runs in it that would have to be stopped.
    }
  }
  Framework(const Framework&) = delete;
  Framework& operator=(const Framework&) = delete;

  std::vector<Bundle> install(const std::filesystem::path& file) {
    return framework_.GetBundleContext().InstallBundles(file.native());
  }

 private:
  TemporaryFolder storage_;
  cppmicroservices::Framework framework_;
};

BundleInspector::BundleInspector() : framework_(std::make_unique<Framework>()) {}

BundleInspector::~BundleInspector() = default;

BundleReport BundleInspector::inspect(const std::filesystem::path& file) {
  BundleReport report;
  report.file = std::filesystem::absolute(file);
  std::error_code unreadable;
  report.size = std::filesystem::file_size(report.file, unreadable);
  if (unreadable) {
    report.size = 0;
    report.refusals.push_back(unreadable.message());
    return report;
  }
  report.permissions = permissionText(std::filesystem::status(report.file, unreadable).permissions());
  if (const auto extension = report.file.extension(); extension != ".so" && extension != ".zip") {
    report.refusals.emplace_back("a host takes files that end in .so or .zip only");
  }
  const auto permissionProblem = agent::host::services::whyRefused(report.file);
  if (!permissionProblem.empty()) {
    report.refusals.push_back(permissionProblem);
  }
  try {
    for (const auto& bundle : framework_->install(report.file)) {
      report.bundles.push_back(contentOf(bundle));
      if (report.bundles.back().hasActivator) {
        const auto problems = entryPointProblems(report.file, report.bundles.back().symbolicName);
        report.refusals.insert(report.refusals.end(), problems.begin(), problems.end());
      }
    }
  } catch (const std::exception& error) {
    report.refusals.emplace_back(error.what());
  }
  return report;
}

}  // namespace spfctl
