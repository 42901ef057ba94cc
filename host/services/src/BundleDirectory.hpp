#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

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

struct BundleFile {
  std::filesystem::path path;
  FileIdentity identity;
  std::filesystem::perms permissions;
  bool isLink;  ///< the other members but the path are those of the file that it leads to
};

/// \return nothing when there is no regular file
std::optional<BundleFile> findBundleFile(const std::filesystem::path& path);

/// The bundle files directly in a directory: regular files that end in `.so` or `.zip`, by name.
/// \param directory  absolute
/// \return empty when the directory does not exist
/// \throws std::filesystem::filesystem_error when it cannot be read
std::vector<BundleFile> listBundleFiles(const std::filesystem::path& directory);

}  // namespace agent::host::services
