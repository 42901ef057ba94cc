#pragma once

#include <filesystem>

namespace agent::host::services {

/// Refuses files that anybody but their owners may put in place or change.
class PermissionCheck {
 public:
  /// \param root     folder whose content is judged up to and including the root itself; canonical
  /// \param enabled  false: everything is accepted
  PermissionCheck(std::filesystem::path root, bool enabled);

  /// Looks at `file` and the folders above it, and at the place that a symbolic link leads to.
  /// \param file  absolute
  /// \throws std::runtime_error naming the file or folder that others may write
  void require(const std::filesystem::path& file) const;

 private:
  void requirePlace(const std::filesystem::path& file) const;
  bool isBelowRoot(const std::filesystem::path& file) const;

  const std::filesystem::path root_;
  const bool enabled_;
};

}  // namespace agent::host::services
