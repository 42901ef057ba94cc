#include "BundleDirectory.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <system_error>
#include <utility>

namespace agent::host::services {

namespace fs = std::filesystem;

namespace {

bool hasBundleExtension(const fs::path& path) {
  const fs::path extension = path.extension();
  return extension == ".so" || extension == ".zip";
}

std::optional<BundleFile> look(const fs::path& path, bool isLink) {
  struct stat status {};
  // A file that goes away while its directory is read is one that is not there.
  if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
    return std::nullopt;
  }
  const FileIdentity identity{status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec,
                              status.st_mtim.tv_nsec};
  return BundleFile{path, identity, static_cast<fs::perms>(status.st_mode) & fs::perms::mask, isLink};
}

}  // namespace

std::optional<BundleFile> findBundleFile(const fs::path& path) {
  std::error_code error;
  const bool isLink = fs::is_symlink(path, error);
  return look(path, isLink);
}

std::vector<BundleFile> listBundleFiles(const fs::path& directory) {
  std::vector<BundleFile> files;
  std::error_code error;
  const fs::directory_iterator entries(directory, error);
  if (error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory) {
    return files;
  }
  if (error) {
    throw fs::filesystem_error("Cannot read the bundle directory", directory, error);
  }
  for (const fs::directory_entry& entry : entries) {
    if (!hasBundleExtension(entry.path())) {
      continue;
    }
    if (auto file = look(entry.path(), entry.is_symlink())) {
      files.push_back(std::move(*file));
    }
  }
  std::sort(files.begin(), files.end(),
            [](const BundleFile& left, const BundleFile& right) { return left.path.native() < right.path.native(); });
  return files;
}

}  // namespace agent::host::services
