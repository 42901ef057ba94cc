#pragma once

#include <filesystem>
#include <optional>

#include "BundleDirectory.hpp"

namespace agent::host::services {

/// Returns the parent of the folder that this library was loaded from.
std::filesystem::path defaultInstallationRoot();

/// Returns an installation root as hosts use it: absolute, normalised and without a separator at its end.
/// \param given  empty: the default one
std::filesystem::path absoluteRoot(const std::filesystem::path& given);

/// Returns the Configuration Admin bundle in the folder of this library, or else in that of the runtime's library.
/// \throws std::runtime_error naming both paths if neither exists
std::filesystem::path defaultConfigurationAdminBundle();

/// Finds the companion of the Configuration Admin bundle: a library in its folder that it needs and cannot find by
/// itself.
/// \param root  the installation root; absolute
std::optional<BundleFile> findCompanionOf(const BundleFile& configurationAdminBundle,
                                          const std::filesystem::path& root);

/// Loads the companion, which runs its code. It stays loaded, as the bundle does.
/// \throws std::runtime_error with the loader's reason
void loadCompanion(const BundleFile& companion);

}  // namespace agent::host::services
