#include "BundleTree.hpp"

#include <filesystem>
#include <stdexcept>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include "RunningHost.hpp"

namespace spf::benchmarks {

namespace {

bool endsWith(const std::string& name, const std::string& end) {
  return name.size() > end.size() && name.compare(name.size() - end.size(), end.size(), end) == 0;
}

void require(bool condition, const std::string& path) {
  if (!condition) {
    throw std::runtime_error("not as expected: " + path);
  }
}

void inspect(const std::string& path) {
  struct stat status {};
  require(lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode), path);
}

int inspectDirectory(const std::string& path) {
  inspect(path);
  DIR* const directory = opendir(path.c_str());
  require(directory != nullptr, path);
  int files = 0;
  while (const dirent* entry = readdir(directory)) {
    const std::string name = entry->d_name;
    if (endsWith(name, ".so") || endsWith(name, ".zip")) {
      struct stat status {};
      require(fstatat(dirfd(directory), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) == 0, path + '/' + name);
      files += S_ISREG(status.st_mode) ? 1 : 0;
    }
  }
  closedir(directory);
  return files;
}

}  // namespace

BundleTree::BundleTree() {
  const auto folder = installationRoot() / "bin" / "win64" / "spf";
  std::filesystem::path path;
  for (const auto& name : folder) {
    path /= name;
    chain_.push_back(path);
  }
  for (const auto& name : bundleDirectoryNames()) {
    directories_.push_back(folder / name);
  }
}

void BundleTree::inspectChain() const {
  for (const auto& folder : chain_) {
    inspect(folder);
  }
}

int BundleTree::inspectDirectories() const {
  int files = 0;
  for (const auto& directory : directories_) {
    files += inspectDirectory(directory);
  }
  return files;
}

int BundleTree::inspectDirectoriesWithChains() const {
  int files = 0;
  for (const auto& directory : directories_) {
    inspectChain();
    files += inspectDirectory(directory);
  }
  return files;
}

}  // namespace spf::benchmarks
