#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace cppmicroservices {

/// The position of a zip archive in a file, in bytes.
struct ArchiveRegion {
  std::uint64_t begin = 0;
  std::uint64_t size = 0;
};

/// Finds the zip archive in a bundle file: the whole file, an archive that was appended to something else (with offsets
/// relative to its own beginning or to the file's), or an ELF section ".us_resources". Reads only the frame of the
/// archive, not its content, and trusts no number in it.
/// \return none if the file holds no archive or cannot be read
std::optional<ArchiveRegion> locateArchive(const std::string& path);

}  // namespace cppmicroservices
