#include <memory>
#include <string>
#include <utility>

#include <cppmicroservices/AnyMap.h>
#include <boost/property_tree/ptree.hpp>

#include "Pair.hpp"
#include "publish/ptreeToAnyMap.hpp"

namespace spf::benchmarks {

using agent::spf::frameworksetup::ptreeToAnyMap;
using boost::property_tree::ptree;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;

namespace {

// Adds the number of nodes below the node, at most that many to each, and makes leaves of the last.
void grow(ptree& node, int nodes, int children) {
  for (int child = 0; child < children && nodes > 0; ++child) {
    const int share = (nodes + children - child - 1) / (children - child);
    auto& added = node.push_back({"property." + std::to_string(child), ptree()})->second;
    if (share == 1) {
      added.data() = "value " + std::to_string(child);
    } else {
      grow(added, share - 1, children);
    }
    nodes -= share;
  }
}

using Tree = std::shared_ptr<const ptree>;

Tree nestedTreeOf(int size) {
  auto tree = std::make_shared<ptree>();
  grow(*tree, size, 5);
  return tree;
}

Tree flatTreeOf(int size) {
  auto tree = std::make_shared<ptree>();
  grow(*tree, size, size);
  return tree;
}

template <Tree (*treeOf)(int)>
Side work(int size) {
  return makingSide([tree = treeOf(size)] { return ptreeToAnyMap(*tree); });
}

// A deep copy of the resulting map.
template <Tree (*treeOf)(int)>
Side floor(int size) {
  return makingSide([map = std::make_shared<const AnyMap>(ptreeToAnyMap(*treeOf(size)))] { return AnyMap(*map); });
}

// What cannot be left out: the last of several equal keys wins, so that an entry is found or made first and then gets
// its value. Keys are taken as they are.
AnyMap leastMapOf(const ptree& tree) {
  AnyMap::unordered_any_cimap map(tree.size());
  for (const auto& [key, child] : tree) {
    Any value = child.empty() ? Any(child.data()) : Any(leastMapOf(child));
    map[key].Swap(value);
  }
  return AnyMap(std::move(map));
}

template <Tree (*treeOf)(int)>
Side leastWork(int size) {
  return makingSide([tree = treeOf(size)] { return leastMapOf(*tree); });
}

int roundsFor(int size) {
  return size < 10000 ? 20 : 2;
}

template <Tree (*treeOf)(int)>
Pair pair(const char* name) {
  return {name, {10, 100, 1000, 10000, 100000}, &roundsFor, &work<treeOf>, &floor<treeOf>};
}

}  // namespace

Pair nestedTree() {
  return pair<&nestedTreeOf>("nested-tree");
}

Pair nestedTreeAtLeast() {
  return {"nested-tree-at-least", {10, 100}, &roundsFor, &leastWork<&nestedTreeOf>, &floor<&nestedTreeOf>};
}

Pair flatTree() {
  return pair<&flatTreeOf>("flat-tree");
}

}  // namespace spf::benchmarks
