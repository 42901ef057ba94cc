#pragma once

#include <filesystem>

namespace agent::host::services {

/// The folder above the one that this library was loaded from.
std::filesystem::path defaultInstallationRoot();

/// The Configuration Admin bundle beside this library, else the one beside the runtime's library.
/// \throws std::runtime_error naming the places looked at when there is none
std::filesystem::path defaultConfigurationAdminBundle();

/// Loads the library that Configuration Admin needs and cannot find by itself, if the bundle has
/// such a companion in its folder. It stays loaded: so does the bundle.
/// \throws std::runtime_error with the loader's reason
void loadCompanionOf(const std::filesystem::path& configurationAdminBundle);

}  // namespace agent::host::services
