#include "PermissionCheck.hpp"

#include <stdexcept>
#include <string>
#include <utility>

namespace agent::host::services {

namespace fs = std::filesystem;

namespace {

bool othersMayWrite(fs::perms permissions) {
  return (permissions & fs::perms::others_write) != fs::perms::none;
}

std::runtime_error refusal(const fs::path& file, const std::string& reason) {
  return std::runtime_error("Refused file '" + file.native() + "': " + reason);
}

}  // namespace

PermissionCheck::PermissionCheck(fs::path root, bool enabled) : root_(std::move(root)), enabled_(enabled) {}

void PermissionCheck::requireFolder(const BundleFolder& folder, const fs::path& file) const {
  if (enabled_ && folder.writable) {
    throw refusal(file, "others may write the folder '" + folder.writable->native() + "'");
  }
}

void PermissionCheck::requireFile(const BundleFile& file) const {
  if (!enabled_) {
    return;
  }
  if (othersMayWrite(file.permissions)) {
    throw refusal(file.path, "others may write the file");
  }
  if (!file.isLink) {
    return;
  }
  // This ends: it goes on only from folders where nobody else can lay the next link.
  for (fs::path place = file.path; fs::is_symlink(place);) {
    place = place.parent_path() / fs::read_symlink(place);
    requireFoldersOf(place);
  }
}

void PermissionCheck::requireFileAndFolders(const BundleFile& file) const {
  if (enabled_) {
    requireFoldersOf(file.path);
    requireFile(file);
  }
}

void PermissionCheck::requireFoldersOf(const fs::path& file) const {
  const auto folder = findBundleFolder(file.parent_path(), root_);
  if (!folder) {
    throw refusal(file, "its folder went away");
  }
  requireFolder(*folder, file);
}

}  // namespace agent::host::services
