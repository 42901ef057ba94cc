#include "bundles/BundleArchive.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "bundles/ArchiveReader.h"

namespace cppmicroservices {

namespace {

constexpr std::uint64_t largestManifest = 4 * 1024 * 1024;
constexpr std::uint64_t largestManifests = 16 * 1024 * 1024;

bool isManifest(const std::filesystem::path& name) {
  return std::distance(name.begin(), name.end()) == 2 && name.filename() == "manifest.json";
}

/// Limits the memory that the manifests of one archive can take.
void requireModestManifests(const ArchiveReader& archive, const std::vector<ArchiveEntry>& entries) {
  std::uint64_t size = 0;
  for (const auto& entry : entries) {
    size += isManifest(entry.name) ? std::min(entry.size, largestManifest) : 0;
  }
  if (size > largestManifests) {
    archive.refuseLayout("its manifests are larger than " + std::to_string(largestManifests) + " bytes together");
  }
}

/// Notes the directory of one entry, and reads the entry if it is a manifest.
void readEntry(const ArchiveReader& archive, const ArchiveEntry& entry, std::set<std::string>& directories,
               std::map<std::string, std::string>& manifests) {
  const std::filesystem::path name = entry.name;
  if (std::distance(name.begin(), name.end()) < 2) {
    archive.refuseLayout("the entry '" + entry.name + "' is not in the directory of a bundle");
  }
  const auto directory = name.begin()->string();
  directories.insert(directory);
  if (isManifest(name) && !manifests.emplace(directory, archive.read(entry, largestManifest)).second) {
    archive.refuseLayout("there are two manifests of the bundle " + directory);
  }
}

}  // namespace

std::map<std::string, std::string> readManifests(const std::string& location) {
  const ArchiveReader archive(location);
  const auto entries = archive.entries();
  requireModestManifests(archive, entries);
  std::set<std::string> directories;
  std::map<std::string, std::string> manifests;
  for (const auto& entry : entries) {
    readEntry(archive, entry, directories, manifests);
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
