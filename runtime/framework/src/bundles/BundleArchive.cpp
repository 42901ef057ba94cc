#include "bundles/BundleArchive.h"

#include <zip.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <set>
#include <stdexcept>

#include "bundles/ArchiveLocator.h"

namespace cppmicroservices {

namespace {

constexpr std::uint64_t largestManifest = 4 * 1024 * 1024;

struct CloseArchive {
  void operator()(zip_t* archive) const { zip_discard(archive); }
};
struct CloseEntry {
  void operator()(zip_file_t* entry) const { zip_fclose(entry); }
};
using Archive = std::unique_ptr<zip_t, CloseArchive>;
using Entry = std::unique_ptr<zip_file_t, CloseEntry>;

[[noreturn]] void refuse(const std::string& what, const std::string& location, const std::string& reason) {
  throw std::runtime_error(what + " for bundle at " + location + ": " + reason);
}

[[noreturn]] void refuseArchive(const std::string& location, const std::string& reason) {
  refuse("Could not init zip archive", location, reason);
}

[[noreturn]] void refuseLayout(const std::string& location, const std::string& reason) {
  refuse("Invalid zip archive layout", location, reason);
}

Archive openArchive(const std::string& location) {
  const auto region = locateArchive(location);
  if (!region) {
    refuseArchive(location, "no zip archive found in the file");
  }
  zip_error_t error;
  zip_error_init(&error);
  // An appended archive is opened as if it were a file of its own: its offsets count from its start.
  zip_source_t* source =
      zip_source_file_create(location.c_str(), region->begin, static_cast<zip_int64_t>(region->size), &error);
  Archive archive(source ? zip_open_from_source(source, ZIP_RDONLY, &error) : nullptr);
  const std::string reason = zip_error_strerror(&error);
  zip_error_fini(&error);
  if (!archive) {
    zip_source_free(source);
    refuseArchive(location, reason);
  }
  return archive;
}

bool pointsOutside(const std::filesystem::path& entry) {
  return entry.is_absolute() || std::find(entry.begin(), entry.end(), "..") != entry.end();
}

std::string readEntry(zip_t* archive, zip_uint64_t index, const std::string& name, const std::string& location) {
  zip_stat_t status;
  zip_stat_init(&status);
  if (zip_stat_index(archive, index, 0, &status) != 0 || !(status.valid & ZIP_STAT_SIZE) ||
      status.size > largestManifest) {
    refuseArchive(location,
                  name + " is larger than " + std::to_string(largestManifest) + " bytes, or of no known size");
  }
  std::string text(static_cast<std::size_t>(status.size), '\0');
  const Entry entry(zip_fopen_index(archive, index, 0));
  // Reading up to the end is what makes the checksum count.
  char beyond = 0;
  if (!entry || zip_fread(entry.get(), text.data(), text.size()) != static_cast<zip_int64_t>(text.size()) ||
      zip_fread(entry.get(), &beyond, 1) != 0) {
    const std::string reason = entry ? zip_file_strerror(entry.get()) : zip_strerror(archive);
    refuseArchive(location, name + " cannot be read: " + reason);
  }
  return text;
}

/// Takes in one entry of the archive.
void look(zip_t* archive, zip_uint64_t index, const std::string& location, std::set<std::string>& directories,
          std::map<std::string, std::string>& manifests) {
  const char* const rawName = zip_get_name(archive, index, 0);
  const std::filesystem::path name = rawName ? rawName : "";
  if (name.empty() || pointsOutside(name) || name.native().find('\\') != std::string::npos) {
    refuseLayout(location, "the entry '" + name.string() + "' points outside the archive");
  }
  const auto parts = std::distance(name.begin(), name.end());
  if (parts < 2) {
    refuseLayout(location, "the entry '" + name.string() + "' is not in the directory of a bundle");
  }
  const auto directory = name.begin()->string();
  directories.insert(directory);
  if (parts == 2 && name.filename() == "manifest.json" &&
      !manifests.emplace(directory, readEntry(archive, index, name.string(), location)).second) {
    refuseLayout(location, "there are two manifests of the bundle " + directory);
  }
}

}  // namespace

std::map<std::string, std::string> readManifests(const std::string& location) {
  if (!std::filesystem::exists(location)) {
    throw std::runtime_error(location + " does not exist");
  }
  if (!std::filesystem::is_regular_file(location)) {
    refuseArchive(location, "not a regular file");
  }
  const auto archive = openArchive(location);
  std::set<std::string> directories;
  std::map<std::string, std::string> manifests;
  const auto count = zip_get_num_entries(archive.get(), 0);
  for (zip_int64_t index = 0; index < count; ++index) {
    look(archive.get(), static_cast<zip_uint64_t>(index), location, directories, manifests);
  }
  if (directories.empty()) {
    refuseLayout(location, "the archive is empty");
  }
  for (const auto& directory : directories) {
    if (manifests.count(directory) == 0) {
      refuseLayout(location, "there is no " + directory + "/manifest.json");
    }
  }
  return manifests;
}

}  // namespace cppmicroservices
