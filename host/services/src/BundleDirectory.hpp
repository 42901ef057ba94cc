#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

#include <sys/types.h>

namespace agent::host::services {

/// What tells one version of a file from another without reading it.
struct FileIdentity {
  dev_t device;
  ino_t inode;
  off_t size;
  std::int64_t modifiedSeconds;
  std::int64_t modifiedNanoseconds;

  friend bool operator==(const FileIdentity& left, const FileIdentity& right) {
    return left.device == right.device && left.inode == right.inode && left.size == right.size &&
           left.modifiedSeconds == right.modifiedSeconds && left.modifiedNanoseconds == right.modifiedNanoseconds;
  }
};

/// A regular file, as it was when it was opened. What the path leads to is judged, and every folder on the way.
struct BundleFile {
  std::filesystem::path path;
  FileIdentity identity;
  std::filesystem::perms permissions;

  /// A folder in which others may put another file in its place (see PathWalk).
  std::optional<std::filesystem::path> writableFolder;
};

/// \param path  absolute
/// \param root  the installation root; absolute
/// \return nothing when there is no regular file, or it cannot be reached
std::optional<BundleFile> findBundleFile(const std::filesystem::path& path, const std::filesystem::path& root);

/// The bundle files directly in a directory: regular files that end in `.so` or `.zip`, by name. The path of each is
/// that of the directory without symbolic links, and the file's name there, so that a bundle has one location however
/// its directory was spelled.
/// \param directory  absolute
/// \param root       the installation root; absolute
/// \return empty when the directory does not exist
/// \throws std::filesystem::filesystem_error when it cannot be read
std::vector<BundleFile> listBundleFiles(const std::filesystem::path& directory, const std::filesystem::path& root);

}  // namespace agent::host::services
