#pragma once

#include <map>
#include <string>

namespace cppmicroservices {

/// Reads the manifests of all bundles in one file, and closes the file again.
/// \return the texts of the manifests, by the names of their directories
/// \throws std::runtime_error naming location and reason if there is no such file, it holds no readable archive, or the
///         archive is not laid out as one of bundles: every entry is in a directory and refers to nothing outside of
///         the archive, and each directory has one manifest of reasonable size
std::map<std::string, std::string> readManifests(const std::string& location);

}  // namespace cppmicroservices
