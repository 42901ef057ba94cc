#pragma once

#include <filesystem>

#include "BundleDirectory.hpp"
#include "BundleFolder.hpp"

namespace agent::host::services {

/// Refuses files that anybody but their owners may put in place or change.
///
/// A value that never changes; any thread may use it.
class PermissionCheck {
 public:
  /// \param root     folder whose content is judged up to and including the root itself; absolute,
  ///                 normalised and without a separator at its end
  /// \param enabled  false: everything is accepted
  PermissionCheck(std::filesystem::path root, bool enabled);

  /// Judges the folders that were found for a file.
  /// \throws std::runtime_error naming the file and the folder that others may write
  void requireFolder(const BundleFolder& folder, const std::filesystem::path& file) const;

  /// Judges the file itself, and every place that a symbolic link leads through.
  /// \throws std::runtime_error naming the file, or its folder, that others may write
  void requireFile(const BundleFile& file) const;

  /// Finds the folders of a file, and judges them and the file.
  /// \param file  its path is absolute
  /// \throws std::runtime_error naming the file and what of it others may write
  void requireFileAndFolders(const BundleFile& file) const;

  const std::filesystem::path& root() const noexcept { return root_; }

 private:
  void requireFoldersOf(const std::filesystem::path& file) const;

  const std::filesystem::path root_;
  const bool enabled_;
};

}  // namespace agent::host::services
