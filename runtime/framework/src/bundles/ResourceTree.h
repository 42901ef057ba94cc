#pragma once

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bundles/ArchiveReader.h"

namespace cppmicroservices {

/// One file or folder of a bundle.
struct ResourceNode {
  /// Returns the path: "/folder/" for a folder, "/folder/file" for a file, "/" for the bundle's own folder.
  std::string path() const;
  /// Returns the path up to the name.
  std::string folder() const;
  /// Returns the name; "" for the bundle's own folder.
  std::string name() const;

  const ResourceNode* parent = nullptr;  // null for the bundle's own folder
  std::string nameInParent;              // that of a folder ends in '/'
  bool isFolder = false;
  ArchiveEntry entry;  // empty for a folder without an entry of its own
  std::map<std::string, ResourceNode*> children;
};

/// The files and folders of one bundle in its archive. It does not keep the file open. Immutable; any thread may use
/// it.
class ResourceTree {
 public:
  /// Reads the list of entries.
  /// \param directory  the bundle's own folder in the archive
  /// \throws std::runtime_error if the file no longer holds a readable archive
  ResourceTree(const std::string& location, const std::string& directory);

  /// Finds a resource by its path; if no name matches exactly, without regard to case. A folder's path has to end in
  /// '/'. \return null if there is none
  const ResourceNode* find(std::string_view path) const;

  /// Returns the content of a file.
  /// \throws std::runtime_error if the file is too large, or the bundle file is broken or missing
  std::string read(const ResourceNode& file) const;

  const std::string& location() const { return location_; }

 private:
  void add(const ArchiveEntry& entry, std::string_view path);
  ResourceNode& child(ResourceNode& folder, const std::string& name);

  const std::string location_;
  std::deque<ResourceNode> nodes_;  // the first one is the bundle's own folder
};

}  // namespace cppmicroservices
