#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace cppmicroservices {

/// Where in a file a zip archive is, in bytes.
struct ArchiveRegion {
  std::uint64_t begin = 0;
  std::uint64_t size = 0;
};

/// Finds the zip archive that a bundle file holds: the whole file, one that was appended to something else
/// (with offsets that count from the archive's own start or from the file's), or an ELF section
/// ".us_resources". Only looks at the frame of the archive, not at its content, and trusts no number in it.
/// \return nothing if the file holds no archive or cannot be read
std::optional<ArchiveRegion> locateArchive(const std::string& path);

}  // namespace cppmicroservices
