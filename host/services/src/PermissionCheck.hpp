#pragma once

#include <filesystem>

#include "BundleDirectory.hpp"

namespace agent::host::services {

/// Refuses files that anybody but their owners may put in place or change.
///
/// A value that never changes; any thread may use it.
class PermissionCheck {
 public:
  /// \param root     folder whose content is judged up to and including the root itself; canonical
  /// \param enabled  false: everything is accepted
  PermissionCheck(std::filesystem::path root, bool enabled);

  /// Looks at a file's folder and at those above it.
  /// \param file  absolute
  /// \throws std::runtime_error naming the file and the folder that others may write
  void requireFolders(const std::filesystem::path& file) const;

  /// Looks at the file itself, and at the place that a symbolic link leads to.
  /// \throws std::runtime_error naming the file, or its folder, that others may write
  void requireFile(const BundleFile& file) const;

 private:
  bool isBelowRoot(const std::filesystem::path& folder) const;

  const std::filesystem::path root_;
  const bool enabled_;
};

}  // namespace agent::host::services
