#include "control/ControlFolder.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

#include <unistd.h>

#include "control/ControlError.hpp"

namespace spfctl {

namespace {

constexpr std::size_t longestName = 64;
constexpr auto socketSuffix = ".sock";

std::string reasonOf(int error) {
  return std::generic_category().message(error);
}

[[noreturn]] void refuse(const std::filesystem::path& path, const std::string& reason) {
  throw ControlError("control folder '" + path.native() + "': " + reason);
}

void create(const std::filesystem::path& path) {
  if (mkdir(path.c_str(), S_IRWXU) != 0 && errno != EEXIST) {
    refuse(path, "cannot be created: " + reasonOf(errno));
  }
}

void requirePrivate(const std::filesystem::path& path, const struct stat& status, bool mayBeForeign) {
  if (!S_ISDIR(status.st_mode)) {
    refuse(path, "is no folder");
  }
  if (status.st_uid != geteuid() && !mayBeForeign) {
    refuse(path, "belongs to user " + std::to_string(status.st_uid) + "; expected user " + std::to_string(geteuid()));
  }
  if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
    refuse(path, "may be entered by others; expected the permissions 0700");
  }
}

// With a slash, a symbolic link would pass for the folder that it leads to.
std::filesystem::path withoutSlashAtTheEnd(const std::filesystem::path& path) {
  return path.has_relative_path() && !path.has_filename() ? path.parent_path() : path;
}

}  // namespace

bool isHostName(const std::string& text) {
  const auto isAllowed = [](char character) {
    return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
           (character >= '0' && character <= '9') || character == '.' || character == '_' || character == '-';
  };
  return !text.empty() && text.size() <= longestName && text.front() != '.' &&
         std::all_of(text.begin(), text.end(), isAllowed);
}

std::filesystem::path ControlFolder::standard() {
  const char* const runtime = std::getenv("XDG_RUNTIME_DIR");
  if (runtime != nullptr && *runtime == '/') {
    return std::filesystem::path(runtime) / "spfctl";
  }
  return geteuid() == 0 ? "/run/spfctl" : "/tmp/spfctl-" + std::to_string(geteuid());
}

ControlFolder::ControlFolder(std::filesystem::path path, Purpose purpose)
    : path_(withoutSlashAtTheEnd(path.empty() ? standard() : std::move(path))) {
  if (purpose == Purpose::serve) {
    create(path_);
  }
  struct stat status {};
  if (lstat(path_.c_str(), &status) == 0) {
    requirePrivate(path_, status, purpose == Purpose::ask && geteuid() == 0);
  } else if (purpose == Purpose::serve || errno != ENOENT) {
    refuse(path_, "cannot be entered: " + reasonOf(errno));
  }
}

std::vector<std::string> ControlFolder::hosts() const {
  std::vector<std::string> names;
  std::error_code error;
  for (std::filesystem::directory_iterator entry(path_, error), end; !error && entry != end; entry.increment(error)) {
    const auto name = entry->path().stem().native();
    // Without a lock it is a socket of something else, such as an endpoint.
    std::error_code ignored;
    if (entry->path().extension() == socketSuffix && isHostName(name) && exists(lockOf(name), ignored)) {
      names.push_back(name);
    }
  }
  if (error && error != std::errc::no_such_file_or_directory) {
    refuse(path_, "cannot be read: " + error.message());
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace spfctl
