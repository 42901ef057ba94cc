#include "PermissionCheck.hpp"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

namespace agent::host::services {

namespace fs = std::filesystem;

namespace {

void requireOthersMayNotWrite(const fs::path& path, const fs::path& file) {
  if ((fs::status(path).permissions() & fs::perms::others_write) == fs::perms::none) {
    return;
  }
  const std::string what =
      path == file ? "others may write the file" : "others may write the folder '" + path.string() + "'";
  throw std::runtime_error("Refused bundle file '" + file.string() + "': " + what);
}

}  // namespace

PermissionCheck::PermissionCheck(fs::path root, bool enabled) : root_(std::move(root)), enabled_(enabled) {}

void PermissionCheck::require(const fs::path& file) const {
  if (!enabled_) {
    return;
  }
  requirePlace(file);
  if (fs::is_symlink(file)) {
    requirePlace(fs::canonical(file));
  }
}

void PermissionCheck::requirePlace(const fs::path& file) const {
  requireOthersMayNotWrite(file, file);
  fs::path folder = file.parent_path();
  requireOthersMayNotWrite(folder, file);
  if (!isBelowRoot(file)) {
    return;
  }
  while (folder != root_) {
    folder = folder.parent_path();
    requireOthersMayNotWrite(folder, file);
  }
}

bool PermissionCheck::isBelowRoot(const fs::path& file) const {
  const fs::path folder = file.parent_path();
  return std::mismatch(root_.begin(), root_.end(), folder.begin(), folder.end()).first == root_.end();
}

}  // namespace agent::host::services
