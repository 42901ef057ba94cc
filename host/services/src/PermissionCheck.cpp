#include "PermissionCheck.hpp"

#include <algorithm>
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
  return std::runtime_error("Refused bundle file '" + file.native() + "': " + reason);
}

void requireFolder(const fs::path& folder, const fs::path& file) {
  if (othersMayWrite(fs::status(folder).permissions())) {
    throw refusal(file, "others may write the folder '" + folder.native() + "'");
  }
}

}  // namespace

PermissionCheck::PermissionCheck(fs::path root, bool enabled) : root_(std::move(root)), enabled_(enabled) {}

void PermissionCheck::requireFolders(const fs::path& file) const {
  if (!enabled_) {
    return;
  }
  fs::path folder = file.parent_path();
  requireFolder(folder, file);
  if (!isBelowRoot(folder)) {
    return;
  }
  while (folder != root_) {
    folder = folder.parent_path();
    requireFolder(folder, file);
  }
}

void PermissionCheck::requireFile(const BundleFile& file) const {
  if (!enabled_) {
    return;
  }
  if (othersMayWrite(file.permissions)) {
    throw refusal(file.path, "others may write the file");
  }
  if (file.isLink) {
    requireFolders(fs::canonical(file.path));
  }
}

bool PermissionCheck::isBelowRoot(const fs::path& folder) const {
  return std::mismatch(root_.begin(), root_.end(), folder.begin(), folder.end()).first == root_.end();
}

}  // namespace agent::host::services
