#include "PermissionCheck.hpp"

#include <stdexcept>
#include <string>

namespace agent::host::services {

namespace {

std::runtime_error refusal(const BundleFile& file, const std::string& reason) {
  return std::runtime_error("Refused file '" + file.path.native() + "': " + reason);
}

}  // namespace

void PermissionCheck::require(const BundleFile& file) const {
  if (!enabled_) {
    return;
  }
  if (file.writableFolder) {
    throw refusal(file, "others may write the folder '" + file.writableFolder->native() + "'");
  }
  if ((file.permissions & std::filesystem::perms::others_write) != std::filesystem::perms::none) {
    throw refusal(file, "others may write the file");
  }
}

}  // namespace agent::host::services
