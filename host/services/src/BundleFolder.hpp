#pragma once

#include <filesystem>
#include <optional>

namespace agent::host::services {

/// A folder that holds bundle files, and who may put files into it.
struct BundleFolder {
  /// Without symbolic links below the root, so that a bundle has one location however its directory
  /// was spelled.
  std::filesystem::path path;

  /// The nearest folder that others may write: the folder itself or one above it, up to and
  /// including the root, also on the way that it was spelled. Outside the root only the folder
  /// itself is judged.
  std::optional<std::filesystem::path> writable;
};

/// Looks at every folder anew, once each unless there are links on the way: modes change.
/// \param folder  absolute
/// \param root    absolute, normalised and without a separator at its end
/// \return nothing when the folder does not exist
/// \throws std::filesystem::filesystem_error when it cannot be looked at
std::optional<BundleFolder> findBundleFolder(const std::filesystem::path& folder, const std::filesystem::path& root);

}  // namespace agent::host::services
