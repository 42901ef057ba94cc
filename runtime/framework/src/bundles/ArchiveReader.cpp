#include "bundles/ArchiveReader.h"

#include <zip.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <utility>

#include "bundles/ArchiveLocator.h"

namespace cppmicroservices {

namespace {

constexpr std::size_t longestName = 4096;
constexpr std::ptrdiff_t deepestFolder = 100;
constexpr std::uint64_t readAtOnce = 64 * 1024;

struct CloseFile {
  void operator()(zip_file_t* file) const { zip_fclose(file); }
};
using File = std::unique_ptr<zip_file_t, CloseFile>;

}  // namespace

void ArchiveReader::Close::operator()(zip* archive) const {
  zip_discard(archive);
}

ArchiveReader::ArchiveReader(std::string location) : location_(std::move(location)), archive_(open()) {}

void ArchiveReader::refuse(const std::string& reason) const {
  throw std::runtime_error("Could not init zip archive for bundle at " + location_ + ": " + reason);
}

void ArchiveReader::refuseLayout(const std::string& reason) const {
  throw std::runtime_error("Invalid zip archive layout for bundle at " + location_ + ": " + reason);
}

std::unique_ptr<zip, ArchiveReader::Close> ArchiveReader::open() const {
  if (!std::filesystem::exists(location_)) {
    throw std::runtime_error(location_ + " does not exist");
  }
  if (!std::filesystem::is_regular_file(location_)) {
    refuse("not a regular file");
  }
  const auto region = locateArchive(location_);
  if (!region) {
    refuse("no zip archive found in the file");
  }
  zip_error_t error;
  zip_error_init(&error);
  // An appended archive is opened like a file of its own, since its offsets are relative to its beginning.
  zip_source_t* source =
      zip_source_file_create(location_.c_str(), region->begin, static_cast<zip_int64_t>(region->size), &error);
  std::unique_ptr<zip, Close> archive(source ? zip_open_from_source(source, ZIP_RDONLY, &error) : nullptr);
  const std::string reason = zip_error_strerror(&error);
  zip_error_fini(&error);
  if (!archive) {
    zip_source_free(source);
    refuse(reason);
  }
  return archive;
}

std::vector<ArchiveEntry> ArchiveReader::entries() const {
  std::vector<ArchiveEntry> entries;
  const auto count = static_cast<std::uint64_t>(std::max<zip_int64_t>(zip_get_num_entries(archive_.get(), 0), 0));
  for (std::uint64_t index = 0; index < count; ++index) {
    entries.push_back(entryAt(index));
    requireInside(entries.back().name);
  }
  return entries;
}

ArchiveEntry ArchiveReader::entryAt(std::uint64_t index) const {
  zip_stat_t status;
  zip_stat_init(&status);
  constexpr zip_uint64_t needed = ZIP_STAT_NAME | ZIP_STAT_SIZE | ZIP_STAT_COMP_SIZE | ZIP_STAT_CRC;
  if (zip_stat_index(archive_.get(), index, 0, &status) != 0 || (status.valid & needed) != needed) {
    refuse("entry number " + std::to_string(index) + " cannot be read");
  }
  return {status.name, index, status.size, status.comp_size, status.crc, status.mtime};
}

void ArchiveReader::requireInside(const std::string& name) const {
  const std::filesystem::path path = name;
  if (name.empty() || path.is_absolute() || std::find(path.begin(), path.end(), "..") != path.end() ||
      name.find('\\') != std::string::npos) {
    refuseLayout("the entry '" + name + "' points outside the archive");
  }
  if (name.size() > longestName || std::count(name.begin(), name.end(), '/') > deepestFolder) {
    refuseLayout("the name of the entry '" + name.substr(0, 40) + "...' is longer than " + std::to_string(longestName) +
                 " bytes, or deeper than " + std::to_string(deepestFolder) + " folders");
  }
}

// The memory grows with the bytes that were read, whatever size the archive states.
std::string ArchiveReader::read(const ArchiveEntry& entry, std::uint64_t largest) const {
  if (entry.size > largest) {
    refuse(entry.name + " is larger than " + std::to_string(largest) + " bytes");
  }
  const auto now = entryAt(entry.index);
  if (now.name != entry.name || now.size != entry.size || now.checksum != entry.checksum) {
    refuse(entry.name + " is another one now: the file was changed");
  }
  const File file(zip_fopen_index(archive_.get(), entry.index, 0));
  if (!file) {
    refuse(entry.name + " cannot be read: " + zip_strerror(archive_.get()));
  }
  std::string text;
  zip_int64_t count = 1;
  // Only reading to the end, beyond the size that the archive states, verifies the checksum.
  while (count > 0 && text.size() <= entry.size) {
    const auto begin = text.size();
    const auto wanted = std::min<std::uint64_t>(readAtOnce, entry.size - begin + 1);
    text.resize(begin + wanted);
    count = zip_fread(file.get(), text.data() + begin, wanted);
    text.resize(begin + static_cast<std::size_t>(std::max<zip_int64_t>(count, 0)));
  }
  if (count < 0) {
    refuse(entry.name + " cannot be read: " + zip_file_strerror(file.get()));
  }
  if (text.size() != entry.size) {
    refuse(entry.name + " cannot be read: its size is not the one that the archive gives");
  }
  return text;
}

}  // namespace cppmicroservices
