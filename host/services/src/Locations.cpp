#include "Locations.hpp"

#include <cstring>
#include <stdexcept>
#include <string>

#include <cppmicroservices/LDAPFilter.h>
#include <dlfcn.h>

namespace agent::host::services {

namespace fs = std::filesystem;

namespace {

constexpr auto configurationAdminFile = "libConfigurationAdmin.so";
constexpr auto companionFile = "libusAsyncWorkService.so";

/// Returns the folder of the loaded library that contains an address.
fs::path folderOfLibrary(const void* address) {
  Dl_info info{};
  if (dladdr(address, &info) == 0 || info.dli_fname == nullptr) {
    throw std::runtime_error("The loader does not know which library holds an address of the host services");
  }
  return fs::canonical(info.dli_fname).parent_path();
}

fs::path ownFolder() {
  return folderOfLibrary(reinterpret_cast<const void*>(&ownFolder));
}

fs::path runtimeFolder() {
  // The runtime's functions are members. The first word of a pointer to a member function that is
  // not virtual is the function's address in the platform's C++ ABI.
  const auto member = &cppmicroservices::LDAPFilter::ToString;
  const void* address = nullptr;
  static_assert(sizeof(member) >= sizeof(address));
  std::memcpy(&address, &member, sizeof(address));
  return folderOfLibrary(address);
}

}  // namespace

fs::path defaultInstallationRoot() {
  return ownFolder().parent_path();
}

// Absolute first: a path of which nothing exists yet stays relative otherwise.
fs::path absoluteRoot(const fs::path& given) {
  const fs::path root = fs::weakly_canonical(fs::absolute(given.empty() ? defaultInstallationRoot() : given));
  return root.has_filename() ? root : root.parent_path();
}

fs::path defaultConfigurationAdminBundle() {
  fs::path own = ownFolder() / configurationAdminFile;
  if (fs::exists(own)) {
    return own;
  }
  fs::path runtimes = runtimeFolder() / configurationAdminFile;
  if (fs::exists(runtimes)) {
    return runtimes;
  }
  throw std::runtime_error("No Configuration Admin bundle: neither '" + own.string() + "' nor '" + runtimes.string() +
                           "' exists");
}

std::optional<BundleFile> findCompanionOf(const BundleFile& configurationAdminBundle, const fs::path& root) {
  return findBundleFile(configurationAdminBundle.path.parent_path() / companionFile, root);
}

void loadCompanion(const BundleFile& companion) {
  if (dlopen(companion.path.c_str(), RTLD_NOW | RTLD_LOCAL) == nullptr) {
    throw std::runtime_error("Cannot load '" + companion.path.string() + "': " + dlerror());
  }
}

}  // namespace agent::host::services
