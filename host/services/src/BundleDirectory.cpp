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

namespace agent::host::services {

namespace fs = std::filesystem;

namespace {

struct CloseDirectory {
  void operator()(DIR* directory) const { closedir(directory); }
};

using Folder = std::unique_ptr<DIR, CloseDirectory>;

bool hasExtension(const std::string& name, const std::string& extension) {
  return name.size() > extension.size() &&
         name.compare(name.size() - extension.size(), extension.size(), extension) == 0;
}

bool hasBundleExtension(const std::string& name) {
  return hasExtension(name, ".so") || hasExtension(name, ".zip");
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

bool isBelow(const fs::path& path, const fs::path& folder) {
  const std::string& text = path.native();
  const std::string& start = folder.native();
  return text.compare(0, start.size(), start) == 0 && text.size() > start.size() && text[start.size()] == '/';
}

/// Opens a folder, of which no name is a symbolic link, for reading.
Folder openFolder(const fs::path& path) {
  Descriptor descriptor(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  Folder folder(descriptor.isOpen() ? fdopendir(descriptor.number()) : nullptr);
  if (!folder) {
    throw fs::filesystem_error("Cannot read the bundle directory", path,
                               std::error_code(errno, std::generic_category()));
  }
  descriptor.release();
  return folder;
}

/// Returns the names of the bundle files in an open folder, sorted.
std::vector<std::string> bundleNamesIn(DIR& folder) {
  std::vector<std::string> names;
  while (const dirent* entry = readdir(&folder)) {
    if (hasBundleExtension(entry->d_name)) {
      names.emplace_back(entry->d_name);
    }
  }
  std::sort(names.begin(), names.end());
  return names;
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

BundleDirectory::BundleDirectory(fs::path directory, fs::path root)
    : directory_(std::move(directory)), root_(std::move(root)), isBelowRoot_(isBelow(directory_, root_)) {}

std::vector<BundleFile> BundleDirectory::list() {
  if (!canBeFoundAgain()) {
    found_ = PathWalk(root_).open(directory_, PathWalk::Goal::folder);
  }
  std::vector<BundleFile> files;
  if (!found_ || !S_ISDIR(found_->status.st_mode)) {
    return files;
  }
  found_->descriptor = {};  // closed, since hosts run for long
  const Folder folder = openFolder(found_->path);
  for (const std::string& name : bundleNamesIn(*folder)) {
    if (auto file = inspect(dirfd(folder.get()), name)) {
      files.push_back(std::move(*file));
    }
  }
  return files;
}

// A walk passes the root on the way to a directory below it, so that a change of the root is noticed too.
bool BundleDirectory::canBeFoundAgain() const {
  return found_ && isBelowRoot_ && areUnchanged(found_->lookups);
}

std::optional<BundleFile> BundleDirectory::inspect(int folder, const std::string& name) const {
  struct stat status {};
  // A file that is removed while its directory is read is ignored.
  if (fstatat(folder, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    return std::nullopt;
  }
  if (S_ISLNK(status.st_mode)) {
    return findBundleFile(found_->path / name, root_);
  }
  return describe(found_->path / name, status, found_->writable);
}

}  // namespace agent::host::services
