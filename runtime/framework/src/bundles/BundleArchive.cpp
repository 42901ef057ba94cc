#include "bundles/BundleArchive.h"

#include <filesystem>
#include <iterator>
#include <set>

#include "bundles/ArchiveReader.h"

namespace cppmicroservices {

namespace {

constexpr std::uint64_t largestManifest = 4 * 1024 * 1024;

/// Takes in one entry of the archive.
void look(const ArchiveReader& archive, const ArchiveEntry& entry, std::set<std::string>& directories,
          std::map<std::string, std::string>& manifests) {
  const std::filesystem::path name = entry.name;
  const auto parts = std::distance(name.begin(), name.end());
  if (parts < 2) {
    archive.refuseLayout("the entry '" + entry.name + "' is not in the directory of a bundle");
  }
  const auto directory = name.begin()->string();
  directories.insert(directory);
  if (parts == 2 && name.filename() == "manifest.json" &&
      !manifests.emplace(directory, archive.read(entry, largestManifest)).second) {
    archive.refuseLayout("there are two manifests of the bundle " + directory);
  }
}

}  // namespace

std::map<std::string, std::string> readManifests(const std::string& location) {
  const ArchiveReader archive(location);
  std::set<std::string> directories;
  std::map<std::string, std::string> manifests;
  for (const auto& entry : archive.entries()) {
    look(archive, entry, directories, manifests);
  }
  if (directories.empty()) {
    archive.refuseLayout("the archive is empty");
  }
  for (const auto& directory : directories) {
    if (manifests.count(directory) == 0) {
      archive.refuseLayout("there is no " + directory + "/manifest.json");
    }
  }
  return manifests;
}

}  // namespace cppmicroservices
