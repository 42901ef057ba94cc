#include "cppmicroservices/BundleResource.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "bundles/ResourceTree.h"
#include "cppmicroservices/BundleResourceStream.h"

namespace cppmicroservices {

namespace {

int asInt(std::uint64_t size) {
  return static_cast<int>(std::min<std::uint64_t>(size, std::numeric_limits<int>::max()));
}

std::string textAfter(const std::string& name, std::size_t dot) {
  return dot == std::string::npos ? std::string() : name.substr(dot + 1);
}

}  // namespace

BundleResource::BundleResource() = default;
BundleResource::BundleResource(const BundleResource& resource) = default;
BundleResource::BundleResource(std::shared_ptr<const ResourceTree> tree, const ResourceNode* node)
    : tree_(std::move(tree)), node_(node) {}

bool BundleResource::operator<(const BundleResource& resource) const {
  return GetResourcePath() < resource.GetResourcePath();
}

bool BundleResource::operator==(const BundleResource& resource) const {
  if (tree_ == resource.tree_ || !node_ || !resource.node_) {
    return node_ == resource.node_;
  }
  return tree_->location() == resource.tree_->location() && node_->entry.name == resource.node_->entry.name &&
         GetResourcePath() == resource.GetResourcePath();
}

bool BundleResource::operator!=(const BundleResource& resource) const {
  return !(*this == resource);
}

bool BundleResource::IsValid() const {
  return node_ != nullptr;
}

BundleResource::operator bool() const {
  return IsValid();
}

std::string BundleResource::GetName() const {
  return node_ ? node_->name() : std::string();
}

std::string BundleResource::GetPath() const {
  return node_ ? node_->folder() : std::string();
}

std::string BundleResource::GetResourcePath() const {
  return node_ ? node_->path() : std::string();
}

std::string BundleResource::GetBaseName() const {
  const auto name = GetName();
  return name.substr(0, name.find('.'));
}

std::string BundleResource::GetCompleteBaseName() const {
  const auto name = GetName();
  return name.substr(0, name.rfind('.'));
}

std::string BundleResource::GetSuffix() const {
  const auto name = GetName();
  return textAfter(name, name.rfind('.'));
}

std::string BundleResource::GetCompleteSuffix() const {
  const auto name = GetName();
  return textAfter(name, name.find('.'));
}

bool BundleResource::IsDir() const {
  return node_ && node_->isFolder;
}

bool BundleResource::IsFile() const {
  return !IsDir();
}

std::vector<std::string> BundleResource::GetChildren() const {
  std::vector<std::string> names;
  if (node_) {
    for (const auto& child : node_->children) {
      names.push_back(child.first);
    }
  }
  return names;
}

std::vector<BundleResource> BundleResource::GetChildResources() const {
  std::vector<BundleResource> resources;
  if (node_) {
    for (const auto& child : node_->children) {
      resources.push_back(BundleResource(tree_, child.second));
    }
  }
  return resources;
}

int BundleResource::GetSize() const {
  return node_ ? asInt(node_->entry.size) : 0;
}

int BundleResource::GetCompressedSize() const {
  return node_ ? asInt(node_->entry.compressedSize) : 0;
}

time_t BundleResource::GetLastModified() const {
  return node_ ? node_->entry.modified : 0;
}

uint32_t BundleResource::GetCrc32() const {
  return node_ ? node_->entry.checksum : 0;
}

std::size_t BundleResource::Hash() const {
  return std::hash<std::string>()(GetResourcePath());
}

std::string BundleResource::content() const {
  return node_ && !node_->isFolder ? tree_->read(*node_) : std::string();
}

std::ostream& operator<<(std::ostream& out, const BundleResource& resource) {
  return out << resource.GetResourcePath();
}

BundleResourceStream::BundleResourceStream(const BundleResource& resource, std::ios_base::openmode)
    : std::istream(nullptr), buffer_(resource.content(), std::ios_base::in) {
  rdbuf(&buffer_);
}

BundleResourceStream::~BundleResourceStream() = default;

}  // namespace cppmicroservices
