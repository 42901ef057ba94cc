#include "BundleDirectory.hpp"

#include <sys/stat.h>

#include <algorithm>
#include <optional>
#include <system_error>

namespace agent::host::services {

namespace fs = std::filesystem;

namespace {

bool hasBundleExtension(const fs::path& path) {
  const fs::path extension = path.extension();
  return extension == ".so" || extension == ".zip";
}

std::optional<FileIdentity> identifyRegularFile(const fs::path& path) {
  struct stat status {};
  // A file that goes away while the directory is read is one that is not there.
  if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) {
    return std::nullopt;
  }
  return FileIdentity{status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

}  // namespace

std::vector<BundleFile> listBundleFiles(const fs::path& directory) {
  std::vector<BundleFile> files;
  std::error_code error;
  const fs::path canonical = fs::canonical(directory, error);
  if (error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory ||
      (!error && !fs::is_directory(canonical))) {
    return files;
  }
  if (error) {
    throw fs::filesystem_error("Cannot read the bundle directory", directory, error);
  }
  for (const fs::directory_entry& entry : fs::directory_iterator(canonical)) {
    if (!hasBundleExtension(entry.path())) {
      continue;
    }
    if (const auto identity = identifyRegularFile(entry.path())) {
      files.push_back({entry.path(), *identity});
    }
  }
  std::sort(files.begin(), files.end(),
            [](const BundleFile& left, const BundleFile& right) { return left.path.native() < right.path.native(); });
  return files;
}

}  // namespace agent::host::services
