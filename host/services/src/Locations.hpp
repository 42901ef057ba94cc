#pragma once

#include <filesystem>
#include <optional>

#include "BundleDirectory.hpp"

namespace agent::host::services {

/// The folder above the one that this library was loaded from.
std::filesystem::path defaultInstallationRoot();

/// The Configuration Admin bundle beside this library, else the one beside the runtime's library.
/// \throws std::runtime_error naming the places looked at when there is none
std::filesystem::path defaultConfigurationAdminBundle();

/// The library that Configuration Admin needs and cannot find by itself, if the bundle has such a
/// companion in its folder.
/// \param root  the installation root; absolute
std::optional<BundleFile> findCompanionOf(const BundleFile& configurationAdminBundle,
                                          const std::filesystem::path& root);

/// Loads the companion, and so runs its code. It stays loaded: so does the bundle.
/// \throws std::runtime_error with the loader's reason
void loadCompanion(const BundleFile& companion);

}  // namespace agent::host::services
