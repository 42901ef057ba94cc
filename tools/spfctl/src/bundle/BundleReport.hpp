#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <cppmicroservices/AnyMap.h>

namespace spfctl {

/// One bundle in a file.
struct BundleContent {
  std::string symbolicName;
  std::string version;
  bool hasActivator = false;
  std::vector<std::string> offeredServices;  ///< names of interfaces
  cppmicroservices::AnyMap manifest{cppmicroservices::AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS};
};

/// What is known about a bundle file without running its code.
struct BundleReport {
  std::filesystem::path file;
  std::uintmax_t size = 0;
  std::string permissions;  ///< as `ls` writes them, like "rw-r--r--"
  std::vector<BundleContent> bundles;
  std::vector<std::string> refusals;  ///< why host or runtime would not take it; empty if they would
};

}  // namespace spfctl
