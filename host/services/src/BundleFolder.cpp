#include "BundleFolder.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>

namespace agent::host::services {

namespace fs = std::filesystem;

namespace {

/// What one look at the folders from one of them up to the root has shown.
struct Way {
  bool exists = true;
  bool hasLinks = false;
  std::optional<fs::path> writable;
};

bool isBelow(const fs::path& root, const fs::path& folder) {
  return std::mismatch(root.begin(), root.end(), folder.begin(), folder.end()).first == root.end();
}

/// Whether the way up to the root can be read off the path, but for links on it.
bool isPlainBelow(const fs::path& root, const fs::path& folder) {
  return folder.has_filename() && folder.native() == folder.lexically_normal().native() && isBelow(root, folder);
}

bool meansAbsence(const std::error_code& error) {
  return error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory;
}

fs::filesystem_error unreadable(const fs::path& folder, const std::error_code& error) {
  return fs::filesystem_error("Cannot read the bundle directory", folder, error);
}

/// Adds one folder to what is known of the way.
void look(const fs::path& folder, bool followLink, Way& way) {
  struct stat status {};
  if ((followLink ? stat(folder.c_str(), &status) : lstat(folder.c_str(), &status)) != 0) {
    const std::error_code error(errno, std::generic_category());
    if (!meansAbsence(error)) {
      throw unreadable(folder, error);
    }
    way.exists = false;
  } else if (S_ISLNK(status.st_mode)) {
    way.hasLinks = true;  // its own mode bits say nothing
  } else if ((status.st_mode & S_IWOTH) != 0 && !way.writable) {
    way.writable = folder;
  }
}

Way lookUpwards(fs::path folder, const fs::path& root) {
  Way way;
  const bool below = isBelow(root, folder);
  look(folder, folder == root, way);
  while (way.exists && below && folder != root) {
    folder = folder.parent_path();
    look(folder, folder == root, way);
  }
  return way;
}

/// The folder without links, and the way up from there; nothing when it does not exist.
std::optional<BundleFolder> findCanonical(const fs::path& folder, const fs::path& root) {
  std::error_code error;
  fs::path canonical = fs::canonical(folder, error);
  if (meansAbsence(error)) {
    return std::nullopt;
  }
  if (error) {
    throw unreadable(folder, error);
  }
  Way way = lookUpwards(canonical, root);
  return way.exists ? std::optional(BundleFolder{std::move(canonical), std::move(way.writable)}) : std::nullopt;
}

}  // namespace

std::optional<BundleFolder> findBundleFolder(const fs::path& folder, const fs::path& root) {
  if (!isPlainBelow(root, folder)) {
    return findCanonical(folder, root);
  }
  Way spelled = lookUpwards(folder, root);
  if (!spelled.exists) {
    return std::nullopt;
  }
  if (!spelled.hasLinks) {
    return BundleFolder{folder, std::move(spelled.writable)};
  }
  auto found = findCanonical(folder, root);
  if (found && !found->writable) {
    found->writable = std::move(spelled.writable);
  }
  return found;
}

}  // namespace agent::host::services
