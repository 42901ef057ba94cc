#pragma once

#include <cstdint>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

struct zip;

namespace cppmicroservices {

/// What an archive says about one of its entries.
struct ArchiveEntry {
  std::string name;  // as it stands in the archive; that of a folder ends in '/'
  std::uint64_t index = 0;
  std::uint64_t size = 0;
  std::uint64_t compressedSize = 0;
  std::uint32_t checksum = 0;
  std::time_t modified = 0;
};

/// The zip archive in one bundle file, which is open as long as this object lives. Trusts nothing that the file
/// says. Every exception is a std::runtime_error that names location and reason.
class ArchiveReader {
 public:
  /// \throws std::runtime_error if there is no such file, or it holds no readable archive
  explicit ArchiveReader(std::string location);

  /// \return all entries, in the order of the archive
  /// \throws std::runtime_error if the name of one points out of the archive, or is absurdly long or deep
  std::vector<ArchiveEntry> entries() const;

  /// \param largest  the most bytes that are read
  /// \throws std::runtime_error if the entry is larger, cannot be read, or is not the one that it was
  std::string read(const ArchiveEntry& entry, std::uint64_t largest) const;

  /// \throws std::runtime_error always, saying that the archive is not one of bundles
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
