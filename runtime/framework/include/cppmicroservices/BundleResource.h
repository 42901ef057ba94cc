#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "cppmicroservices/FrameworkExport.h"

namespace cppmicroservices {

class BundleResourceStream;
class ResourceTree;
struct ResourceNode;

namespace detail {
struct HandleAccess;
}

/// A file or folder in a bundle's archive, see Bundle::GetResource. It is immutable, and copies are cheap. It can be
/// used also after the bundle was uninstalled, as long as the bundle file exists. A default constructed resource is
/// invalid, and its methods return zero and empty values.
///
/// Paths are relative to the bundle's own folder and begin with '/'; those of folders end in '/' as well.
class US_Framework_EXPORT BundleResource {
 public:
  BundleResource();
  BundleResource(const BundleResource& resource);
  BundleResource& operator=(const BundleResource& resource) = default;
  ~BundleResource() = default;

  /// Orders by path.
  bool operator<(const BundleResource& resource) const;
  /// Returns whether both are the same resource of the same bundle file, or both invalid.
  bool operator==(const BundleResource& resource) const;
  bool operator!=(const BundleResource& resource) const;

  bool IsValid() const;
  explicit operator bool() const;

  /// Returns the name: "file.tar.gz" for "/folder/file.tar.gz"; "" for a folder.
  std::string GetName() const;
  /// Returns the path of the folder: "/folder/".
  std::string GetPath() const;
  /// Returns the whole path: "/folder/file.tar.gz".
  std::string GetResourcePath() const;
  /// Returns the name up to its first dot: "file".
  std::string GetBaseName() const;
  /// Returns the name up to its last dot: "file.tar".
  std::string GetCompleteBaseName() const;
  /// Returns the text after the last dot: "gz".
  std::string GetSuffix() const;
  /// Returns the text after the first dot: "tar.gz".
  std::string GetCompleteSuffix() const;

  bool IsDir() const;
  /// Returns whether this is no folder; true also for an invalid resource.
  bool IsFile() const;

  /// Returns the names of the folder's entries, sorted; those of folders end in '/'.
  std::vector<std::string> GetChildren() const;
  std::vector<BundleResource> GetChildResources() const;

  /// Returns the size of the content in bytes that the archive states; at most the largest int.
  int GetSize() const;
  int GetCompressedSize() const;
  /// Returns the time of the file's last change before it was packed, in seconds since 1970.
  time_t GetLastModified() const;
  uint32_t GetCrc32() const;

 private:
  friend class BundleResourceStream;
  friend struct detail::HandleAccess;
  friend struct std::hash<BundleResource>;

  BundleResource(std::shared_ptr<const ResourceTree> tree, const ResourceNode* node);

  std::size_t Hash() const;
  std::string content() const;

  std::shared_ptr<const ResourceTree> tree_;
  const ResourceNode* node_ = nullptr;  // of the tree
};

US_Framework_EXPORT std::ostream& operator<<(std::ostream& out, const BundleResource& resource);

}  // namespace cppmicroservices

US_HASH_FUNCTION_BEGIN(cppmicroservices::BundleResource)
return arg.Hash();
US_HASH_FUNCTION_END
