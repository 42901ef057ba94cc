#include "PathWalk.hpp"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <system_error>
#include <utility>

#include <fcntl.h>

namespace agent::host::services {

namespace fs = std::filesystem;

namespace {

/// The system's own limit of symbolic links in a path.
constexpr int maximalLinks = 40;

std::system_error failure(int error) {
  return std::system_error(error, std::generic_category());
}

bool isSame(const struct stat& left, const struct stat& right) {
  return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

bool isUnchanged(const Lookup& lookup) {
  struct stat status {};
  if (lstat(lookup.path.c_str(), &status) != 0 || !isSame(lookup.status, status) ||
      lookup.status.st_mode != status.st_mode) {
    return false;
  }
  // A link is replaced, never changed; the new one may have the number of the old one, but not its time.
  return !S_ISLNK(status.st_mode) || (lookup.status.st_ctim.tv_sec == status.st_ctim.tv_sec &&
                                      lookup.status.st_ctim.tv_nsec == status.st_ctim.tv_nsec);
}

struct stat statusOf(const Descriptor& descriptor) {
  struct stat status {};
  if (fstat(descriptor.number(), &status) != 0) {
    throw failure(errno);
  }
  return status;
}

/// Opens a name in a folder, without following a symbolic link.
/// \return a closed descriptor if the name does not exist
Descriptor openName(int folder, const std::string& name) {
  Descriptor descriptor(openat(folder, name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
  if (!descriptor.isOpen() && errno != ENOENT && errno != ENOTDIR) {
    throw failure(errno);
  }
  return descriptor;
}

}  // namespace

bool areUnchanged(const std::vector<Lookup>& lookups) {
  return std::all_of(lookups.begin(), lookups.end(), isUnchanged);
}

PathWalk::PathWalk(const fs::path& root) {
  struct stat status {};
  if (stat(root.c_str(), &status) == 0) {
    root_ = status;
  }
}

std::optional<OpenedPath> PathWalk::open(const fs::path& path, Goal goal) {
  try {
    start(path);
    return walk(goal);
  } catch (const std::system_error& error) {
    throw fs::filesystem_error("Cannot open", path, error.code());
  }
}

void PathWalk::start(const fs::path& path) {
  folders_.clear();
  names_.clear();
  lookups_.clear();
  links_ = 0;
  writable_.reset();
  Descriptor top(::open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!top.isOpen()) {
    throw failure(errno);
  }
  const struct stat status = statusOf(top);
  lookups_.push_back({"/", status});
  enter(std::move(top), status, "");
  prepend(path.relative_path());
}

void PathWalk::prepend(const fs::path& names) {
  const auto first = names_.size();
  for (const fs::path& name : names) {
    names_.push_back(name.native());
  }
  std::reverse(names_.begin() + static_cast<std::ptrdiff_t>(first), names_.end());
}

std::optional<OpenedPath> PathWalk::walk(Goal goal) {
  while (!names_.empty()) {
    const std::string name = std::move(names_.back());
    names_.pop_back();
    if (name == "..") {
      leave();
    } else if (!name.empty() && name != ".") {
      checkCurrent(goal == Goal::file && names_.empty() ? StickyFolders::refused : StickyFolders::accepted);
      Descriptor found = openName(folders_.back().descriptor.number(), name);
      if (!found.isOpen()) {
        return std::nullopt;
      }
      const struct stat status = statusOf(found);
      lookups_.push_back({pathOfCurrent() / name, status});
      if (S_ISLNK(status.st_mode)) {
        followLink(found);
      } else if (S_ISDIR(status.st_mode)) {
        enter(std::move(found), status, name);
      } else {
        return names_.empty()
                   ? std::optional(OpenedPath{pathOfCurrent() / name, std::move(found), status, writable_, lookups_})
                   : std::nullopt;
      }
    }
  }
  checkCurrent(StickyFolders::refused);
  Folder& last = folders_.back();
  return OpenedPath{pathOfCurrent(), std::move(last.descriptor), last.status, writable_, lookups_};
}

void PathWalk::enter(Descriptor folder, const struct stat& status, const std::string& name) {
  const bool isInRoot = (!folders_.empty() && folders_.back().isInRoot) || (root_ && isSame(*root_, status));
  folders_.push_back({std::move(folder), status, name, isInRoot});
}

void PathWalk::leave() {
  if (folders_.size() > 1) {
    folders_.pop_back();
  }
}

void PathWalk::followLink(const Descriptor& link) {
  if (++links_ > maximalLinks) {
    throw failure(ELOOP);
  }
  char text[PATH_MAX];
  const auto length = readlinkat(link.number(), "", text, sizeof(text));
  if (length < 0) {
    throw failure(errno);
  }
  const fs::path target(std::string(text, static_cast<std::size_t>(length)));
  if (target.is_absolute()) {
    folders_.erase(folders_.begin() + 1, folders_.end());
  }
  prepend(target.relative_path());
}

void PathWalk::checkCurrent(StickyFolders sticky) {
  const Folder& folder = folders_.back();
  const bool othersMayWrite = (folder.status.st_mode & S_IWOTH) != 0;
  const bool isSticky = (folder.status.st_mode & S_ISVTX) != 0;
  if (othersMayWrite && !writable_ && (folder.isInRoot || sticky == StickyFolders::refused || !isSticky)) {
    writable_ = pathOfCurrent();
  }
}

fs::path PathWalk::pathOfCurrent() const {
  fs::path path = "/";
  for (const Folder& folder : folders_) {
    path /= folder.name;
  }
  return path.has_filename() || !path.has_relative_path() ? path : path.parent_path();
}

}  // namespace agent::host::services
