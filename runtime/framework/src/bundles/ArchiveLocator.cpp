#include "bundles/ArchiveLocator.h"

#include <elf.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <vector>

namespace cppmicroservices {

namespace {

constexpr std::size_t endRecordSize = 22;
constexpr std::size_t longestComment = 0xffff;
constexpr std::size_t mostSections = 10000;
constexpr std::size_t longestNameTable = 1024 * 1024;

/// Reads parts of a file, but nothing beyond its end.
class FileReader {
 public:
  explicit FileReader(const std::string& path) : file_(path, std::ios::binary | std::ios::ate) {
    size_ = file_ ? static_cast<std::uint64_t>(file_.tellg()) : 0;
  }

  std::uint64_t size() const { return size_; }

  bool read(std::uint64_t offset, void* target, std::size_t count) {
    if (offset > size_ || count > size_ - offset) {
      return false;
    }
    file_.clear();
    file_.seekg(static_cast<std::streamoff>(offset));
    file_.read(static_cast<char*>(target), static_cast<std::streamsize>(count));
    return static_cast<bool>(file_);
  }

 private:
  std::ifstream file_;
  std::uint64_t size_ = 0;
};

std::uint32_t littleEndian(const unsigned char* bytes, int count) {
  std::uint32_t value = 0;
  while (count-- > 0) {
    value = value << 8 | bytes[count];
  }
  return value;
}

/// Finds the archive that ends with a record.
/// \param record  the end record of a zip archive
/// \param position  the position of the record in the file
/// \return none if the sizes in the record do not fit the file
std::optional<ArchiveRegion> archiveBefore(const unsigned char* record, std::uint64_t position,
                                           std::uint64_t regionBegin, std::uint64_t regionEnd) {
  const std::uint64_t directorySize = littleEndian(record + 12, 4);
  const std::uint64_t directoryOffset = littleEndian(record + 16, 4);
  const std::uint64_t available = position - regionBegin;
  if (directorySize > available || directoryOffset > available - directorySize) {
    return std::nullopt;
  }
  const auto begin = position - directorySize - directoryOffset;
  return ArchiveRegion{begin, regionEnd - begin};
}

/// Finds an archive that ends where the region ends.
std::optional<ArchiveRegion> archiveAtEnd(FileReader& file, std::uint64_t begin, std::uint64_t end) {
  if (end - begin < endRecordSize) {
    return std::nullopt;
  }
  const auto tailSize = static_cast<std::size_t>(std::min<std::uint64_t>(end - begin, endRecordSize + longestComment));
  std::vector<unsigned char> tail(tailSize);
  if (!file.read(end - tailSize, tail.data(), tailSize)) {
    return std::nullopt;
  }
  for (std::size_t at = tailSize - endRecordSize + 1; at-- > 0;) {
    const auto* record = tail.data() + at;
    if (std::memcmp(record, "PK\5\6", 4) == 0 && littleEndian(record + 20, 2) == tailSize - at - endRecordSize) {
      return archiveBefore(record, end - tailSize + at, begin, end);
    }
  }
  return std::nullopt;
}

/// Returns the names of all sections, each followed by a zero; empty if there are none.
std::vector<char> sectionNames(FileReader& file, const Elf64_Ehdr& header) {
  Elf64_Shdr section{};
  if (!file.read(header.e_shoff + std::uint64_t{header.e_shstrndx} * sizeof section, &section, sizeof section) ||
      section.sh_size > longestNameTable) {
    return {};
  }
  std::vector<char> names(section.sh_size);
  if (!file.read(section.sh_offset, names.data(), names.size())) {
    return {};
  }
  names.push_back('\0');
  return names;
}

/// Finds the section that holds the archive of a bundle.
std::optional<ArchiveRegion> resourceSection(FileReader& file) {
  Elf64_Ehdr header{};
  if (!file.read(0, &header, sizeof header) || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
      header.e_ident[EI_CLASS] != ELFCLASS64 || header.e_shentsize != sizeof(Elf64_Shdr) ||
      header.e_shnum > mostSections || header.e_shoff > file.size()) {
    return std::nullopt;
  }
  const auto names = sectionNames(file, header);
  for (std::uint64_t index = 0; index < header.e_shnum; ++index) {
    Elf64_Shdr section{};
    if (!file.read(header.e_shoff + index * sizeof section, &section, sizeof section)) {
      return std::nullopt;
    }
    if (section.sh_name < names.size() && std::strcmp(names.data() + section.sh_name, ".us_resources") == 0 &&
        section.sh_offset <= file.size() && section.sh_size <= file.size() - section.sh_offset) {
      return ArchiveRegion{section.sh_offset, section.sh_size};
    }
  }
  return std::nullopt;
}

}  // namespace

std::optional<ArchiveRegion> locateArchive(const std::string& path) {
  FileReader file(path);
  if (const auto found = archiveAtEnd(file, 0, file.size())) {
    return found;
  }
  const auto section = resourceSection(file);
  return section ? archiveAtEnd(file, section->begin, section->begin + section->size) : std::nullopt;
}

}  // namespace cppmicroservices
