#include "bundles/ResourceTree.h"

#include <algorithm>

#include "values/AsciiCase.hpp"

namespace cppmicroservices {

namespace {

constexpr std::uint64_t largestResource = 256 * 1024 * 1024;

/// Removes the first name that is not empty from a path, together with the '/' after it.
/// \return the name
std::string takeName(std::string_view& path) {
  path.remove_prefix(std::min(path.find_first_not_of('/'), path.size()));
  const auto slash = path.find('/');
  const auto length = slash == std::string_view::npos ? path.size() : slash + 1;
  std::string name(path.substr(0, length));
  path.remove_prefix(length);
  return name;
}

const ResourceNode* childNamed(const ResourceNode& folder, const std::string& name) {
  const auto exact = folder.children.find(name);
  const auto found = exact != folder.children.end()
                         ? exact
                         : std::find_if(folder.children.begin(), folder.children.end(),
                                        [&](const auto& child) { return ascii::equalIgnoringCase(child.first, name); });
  return found == folder.children.end() ? nullptr : found->second;
}

}  // namespace

std::string ResourceNode::folder() const {
  return isFolder ? path() : parent->path();
}

std::string ResourceNode::name() const {
  return isFolder ? std::string() : nameInParent;
}

std::string ResourceNode::path() const {
  std::vector<const ResourceNode*> above;
  for (const auto* node = this; node->parent; node = node->parent) {
    above.push_back(node);
  }
  std::string path = "/";
  for (auto node = above.rbegin(); node != above.rend(); ++node) {
    path += (*node)->nameInParent;
  }
  return path;
}

ResourceTree::ResourceTree(const std::string& location, const std::string& directory) : location_(location) {
  nodes_.emplace_back().isFolder = true;
  for (const auto& entry : ArchiveReader(location).entries()) {
    std::string_view path = entry.name;
    if (takeName(path) == directory + "/") {
      add(entry, path);
    }
  }
}

void ResourceTree::add(const ArchiveEntry& entry, std::string_view path) {
  auto* node = &nodes_.front();
  for (auto name = takeName(path); !name.empty(); name = takeName(path)) {
    node = &child(*node, name);
  }
  if (node->entry.name.empty()) {
    node->entry = entry;
  }
}

ResourceNode& ResourceTree::child(ResourceNode& folder, const std::string& name) {
  auto& child = folder.children[name];
  if (!child) {
    child = &nodes_.emplace_back();
    child->parent = &folder;
    child->nameInParent = name;
    child->isFolder = name.back() == '/';
  }
  return *child;
}

const ResourceNode* ResourceTree::find(std::string_view path) const {
  const auto* node = &nodes_.front();
  for (auto name = takeName(path); node && !name.empty(); name = takeName(path)) {
    node = childNamed(*node, name);
  }
  return node;
}

std::string ResourceTree::read(const ResourceNode& file) const {
  return ArchiveReader(location_).read(file.entry, largestResource);
}

}  // namespace cppmicroservices
