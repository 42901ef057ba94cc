#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>
#include "PathWalk.hpp"

namespace agent::host::services {

/// Distinguishes the versions of a file without reading it.
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

/// A regular file, in the state in which it was opened. Permissions are those of the file that the path leads to.
struct BundleFile {
  std::filesystem::path path;
  FileIdentity identity;
  std::filesystem::perms permissions;

  /// A folder in which others may replace the file (see PathWalk).
  std::optional<std::filesystem::path> writableFolder;
};

/// Finds a regular file, and checks the folders on its path.
/// \param path  absolute
/// \param root  the installation root; absolute
/// \return nothing if there is no regular file, or it cannot be opened
std::optional<BundleFile> findBundleFile(const std::filesystem::path& path, const std::filesystem::path& root);

/// A directory of bundle files. One thread at a time may use it.
class BundleDirectory {
 public:
  /// \param directory  absolute
  /// \param root       the installation root; absolute
  BundleDirectory(std::filesystem::path directory, std::filesystem::path root);

  /// Lists the bundle files directly in the directory: regular files that end in `.so` or `.zip`, sorted by name. Each
  /// path consists of the directory without symbolic links and the file's name, so that a bundle has the same location
  /// for every spelling of its directory. A later call finds the directory again with fewer system calls.
  /// \return empty if the directory does not exist
  /// \throws std::filesystem::filesystem_error if it cannot be read
  std::vector<BundleFile> list();

 private:
  bool canBeFoundAgain() const;
  std::optional<BundleFile> inspect(int folder, const std::string& name) const;

  // Constant after construction:
  const std::filesystem::path directory_;
  const std::filesystem::path root_;
  const bool isBelowRoot_;

  // Of the latest walk, without its descriptor; nothing if it has led nowhere:
  std::optional<OpenedPath> found_;
};

}  // namespace agent::host::services
