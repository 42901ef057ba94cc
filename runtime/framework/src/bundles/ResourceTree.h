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
  /// \return "/folder/" for a folder, "/folder/file" for a file, "/" for the bundle's own folder
  std::string path() const;
  /// \return the path up to the name
  std::string folder() const;
  /// \return the name; "" for the bundle's own folder
  std::string name() const;

  const ResourceNode* parent = nullptr;  // null for the bundle's own folder
  std::string nameInParent;              // that of a folder ends in '/'
  bool isFolder = false;
  ArchiveEntry entry;  // nothing but zeros for a folder that only its files mention
  std::map<std::string, ResourceNode*> children;
};

/// The files and folders of one bundle as the archive in its file lists them. It does not keep the file open.
/// Constant after construction; any thread may use it.
class ResourceTree {
 public:
  /// \param directory  the folder in the archive that is the bundle's own
  /// \throws std::runtime_error if the file holds no readable archive any more
  ResourceTree(const std::string& location, const std::string& directory);

  /// Looks a resource up, if need be without regard to case. A folder's path has to end in '/'.
  /// \return null if there is none
  const ResourceNode* find(std::string_view path) const;

  /// \return the content of a file
  /// \throws std::runtime_error if it is absurdly large, or the bundle file is broken or gone
  std::string read(const ResourceNode& file) const;

  const std::string& location() const { return location_; }

 private:
  void add(const ArchiveEntry& entry, std::string_view path);
  ResourceNode& child(ResourceNode& folder, const std::string& name);

  const std::string location_;
  std::deque<ResourceNode> nodes_;  // the first one is the bundle's own folder
};

}  // namespace cppmicroservices
