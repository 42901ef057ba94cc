#pragma once

#include <cstdint>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

struct zip;

namespace cppmicroservices {

/// The description of an entry in its archive.
struct ArchiveEntry {
  std::string name;  // that of a folder ends in '/'
  std::uint64_t index = 0;
  std::uint64_t size = 0;
  std::uint64_t compressedSize = 0;
  std::uint32_t checksum = 0;
  std::time_t modified = 0;
};

/// The zip archive in one bundle file, which is open as long as this object lives. Trusts no part of the file. Every
/// exception is a std::runtime_error that names location and reason.
class ArchiveReader {
 public:
  /// Opens the archive.
  /// \throws std::runtime_error if there is no such file, or it holds no readable archive
  explicit ArchiveReader(std::string location);

  /// Returns all entries, in the order of the archive.
  /// \throws std::runtime_error if an entry's name refers to something outside of the archive, or is too long or deep
  std::vector<ArchiveEntry> entries() const;

  /// Reads the content of an entry.
  /// \param largest  the greatest size that is accepted, in bytes
  /// \throws std::runtime_error if the entry is larger, cannot be read, or has changed
  std::string read(const ArchiveEntry& entry, std::uint64_t largest) const;

  /// Reports that the archive is not laid out as one of bundles.
  /// \throws std::runtime_error always
  [[noreturn]] void refuseLayout(const std::string& reason) const;

 private:
  struct Close {
    void operator()(zip* archive) const;
  };

  [[noreturn]] void refuse(const std::string& reason) const;
  std::unique_ptr<zip, Close> open() const;
  ArchiveEntry entryAt(std::uint64_t index) const;
  void requireInside(const std::string& name) const;

  const std::string location_;
  const std::unique_ptr<zip, Close> archive_;
};

}  // namespace cppmicroservices
