#include "bundles/BundleInstaller.h"

#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "bundles/BundleArchive.h"
#include "core/Attempt.h"
#include "core/ExceptionText.h"

namespace cppmicroservices {

namespace {

bool hasBundles(const std::string& location) {
  try {
    return !readManifests(location).empty();
  } catch (const std::runtime_error&) {
    return false;  // true of most programs
  }
}

}  // namespace

BundleInstaller::BundleInstaller(BundleRegistry& registry, BundleLifecycle& lifecycle, BundleListeners& listeners)
    : registry_(registry), lifecycle_(lifecycle), listeners_(listeners) {}

BundleRegistry::Bundles BundleInstaller::install(const std::shared_ptr<BundlePrivate>& origin,
                                                 const std::string& location, const AnyMap& manifests) {
  auto [bundles, added] = registry_.install(location, manifests);
  announce(added, origin);
  bundles.insert(bundles.end(), added.begin(), added.end());
  return std::move(bundles);
}

void BundleInstaller::installProgram(const std::shared_ptr<BundlePrivate>& system) {
  std::error_code failure;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", failure).string();
  if (!failure && hasBundles(program)) {
    install(system, program, AnyMap());
  }
}

/// Calls the bundle listeners. If one of them refuses a bundle, uninstalls all bundles of this installation.
void BundleInstaller::announce(const BundleRegistry::Bundles& bundles, const std::shared_ptr<BundlePrivate>& origin) {
  std::exception_ptr refusal;
  for (const auto& bundle : bundles) {
    attempt(refusal, [&] { listeners_.notifyInstalled(bundle, origin); });
  }
  if (!refusal) {
    return;
  }
  for (const auto& bundle : bundles) {
    attempt(refusal, [&] { lifecycle_.uninstall(bundle); });
  }
  try {
    std::rethrow_exception(refusal);
  } catch (...) {
    throw std::runtime_error("Failed to install bundle library at " + bundles.front()->location + ": " +
                             currentExceptionText());
  }
}

}  // namespace cppmicroservices
