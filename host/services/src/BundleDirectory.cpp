#include "BundleDirectory.hpp"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <string>
#include <system_error>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include "PathWalk.hpp"

namespace agent::host::services {

namespace fs = std::filesystem;

namespace {

struct CloseDirectory {
  void operator()(DIR* directory) const { closedir(directory); }
};

bool hasBundleExtension(const std::string& name) {
  const fs::path extension = fs::path(name).extension();
  return extension == ".so" || extension == ".zip";
}

std::optional<BundleFile> describe(fs::path path, const struct stat& status, std::optional<fs::path> writableFolder) {
  if (!S_ISREG(status.st_mode)) {
    return std::nullopt;
  }
  const FileIdentity identity{status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec,
                              status.st_mtim.tv_nsec};
  return BundleFile{std::move(path), identity, static_cast<fs::perms>(status.st_mode) & fs::perms::mask,
                    std::move(writableFolder)};
}

/// Returns the names of the bundle files in an open folder, sorted.
std::vector<std::string> bundleNamesIn(const OpenedPath& folder) {
  // The folder's own descriptor is opened with O_PATH and cannot be read.
  Descriptor readable(openat(folder.descriptor.number(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const std::unique_ptr<DIR, CloseDirectory> directory(readable.isOpen() ? fdopendir(readable.number()) : nullptr);
  if (!directory) {
    throw fs::filesystem_error("Cannot read the bundle directory", folder.path,
                               std::error_code(errno, std::generic_category()));
  }
  readable.release();
  std::vector<std::string> names;
  while (const dirent* entry = readdir(directory.get())) {
    if (hasBundleExtension(entry->d_name)) {
      names.emplace_back(entry->d_name);
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::optional<BundleFile> inspect(const OpenedPath& folder, const std::string& name, const fs::path& root) {
  struct stat status {};
  // A file that is removed while its directory is read is ignored.
  if (fstatat(folder.descriptor.number(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    return std::nullopt;
  }
  if (S_ISLNK(status.st_mode)) {
    return findBundleFile(folder.path / name, root);
  }
  return describe(folder.path / name, status, folder.writable);
}

}  // namespace

std::optional<BundleFile> findBundleFile(const fs::path& path, const fs::path& root) {
  try {
    auto opened = PathWalk(root).open(path, PathWalk::Goal::file);
    return opened ? describe(path, opened->status, std::move(opened->writable)) : std::nullopt;
  } catch (const fs::filesystem_error&) {
    return std::nullopt;
  }
}

std::vector<BundleFile> listBundleFiles(const fs::path& directory, const fs::path& root) {
  std::vector<BundleFile> files;
  const auto folder = PathWalk(root).open(directory, PathWalk::Goal::folder);
  if (!folder || !S_ISDIR(folder->status.st_mode)) {
    return files;
  }
  for (const std::string& name : bundleNamesIn(*folder)) {
    if (auto file = inspect(*folder, name, root)) {
      files.push_back(std::move(*file));
    }
  }
  return files;
}

}  // namespace agent::host::services
