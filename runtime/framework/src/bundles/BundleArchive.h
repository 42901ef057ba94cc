#pragma once

#include <map>
#include <string>

namespace cppmicroservices {

/// Reads the manifests of all bundles in one file. The file is only open meanwhile.
/// \return the texts of the manifests, by the name of the directory that each is in
/// \throws std::runtime_error naming location and reason if there is no such file, it holds no readable
///         archive, or the archive is not laid out as a bundle: no entry outside a directory, none that
///         points out of the archive, and a manifest of reasonable size in each directory, once
std::map<std::string, std::string> readManifests(const std::string& location);

}  // namespace cppmicroservices
