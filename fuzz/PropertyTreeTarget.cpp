#include <cctype>
#include <cstdio>
#include <map>
#include <string>
#include <utility>

#include <boost/property_tree/ptree.hpp>

#include "Bytes.hpp"
#include "Target.hpp"
#include "agent/spf/frameworksetup/addRequiredRuntimeServiceProperties.hpp"
#include "publish/ptreeToAnyMap.hpp"

// The input is a name and a value of a required property, then a property tree: for each node a byte with the lengths
// of its key and its data and whether it has children, the key, the children up to a zero, and the data.

namespace {

using boost::property_tree::ptree;
using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using spf::fuzz::Bytes;
using spf::fuzz::require;

// Deeper trees show nothing more, and in the end use up the stack.
constexpr int deepest = 200;

ptree treeIn(Bytes& bytes, int depth) {
  ptree tree;
  while (!bytes.empty()) {
    const unsigned head = bytes.next();
    if (head == 0) {
      break;
    }
    auto& child = tree.push_back({bytes.text(head & 7), ptree()})->second;
    if ((head & 64) != 0 && depth < deepest) {
      treeIn(bytes, depth + 1).swap(child);
    }
    child.data() = bytes.text(head >> 3 & 7);
  }
  return tree;
}

std::string escaped(const std::string& key) {
  static const std::map<char, const char*> shortEscapes{{'/', "\\/"},  {'"', "\\\""}, {'\\', "\\\\"}, {'\b', "\\b"},
                                                        {'\f', "\\f"}, {'\n', "\\n"}, {'\r', "\\r"},  {'\t', "\\t"}};
  std::string result;
  for (const char byte : key) {
    const auto found = shortEscapes.find(byte);
    if (found != shortEscapes.end()) {
      result += found->second;
    } else if (static_cast<unsigned char>(byte) < 0x20) {
      char code[7];
      std::snprintf(code, sizeof code, "\\u%04X", static_cast<unsigned>(byte));
      result += code;
    } else {
      result += byte;
    }
  }
  return result;
}

std::string lowerCase(std::string text) {
  for (char& letter : text) {
    letter = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  }
  return text;
}

void compare(const ptree& tree, const AnyMap& map) {
  // The first spelling of a key and the last node under it.
  std::map<std::string, std::pair<std::string, const ptree*>> expected;
  for (const auto& [key, child] : tree) {
    const auto published = escaped(key);
    expected.emplace(lowerCase(published), std::make_pair(published, nullptr)).first->second.second = &child;
  }
  require(map.size() == expected.size(), "each different key has an entry");
  for (const auto& [key, value] : map) {
    const auto found = expected.find(lowerCase(key));
    require(found != expected.end() && found->second.first == key, "a key keeps its first spelling");
    const ptree& node = *found->second.second;
    if (node.data().empty() && !node.empty()) {
      const auto* const nested = cppmicroservices::any_cast<AnyMap>(&value);
      require(nested != nullptr, "a node with children only is a map");
      compare(node, *nested);
    } else {
      const auto* const text = cppmicroservices::any_cast<std::string>(&value);
      require(text != nullptr && *text == node.data(), "a node with data is its text");
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace agent::spf::frameworksetup;
  Bytes bytes(data, size);
  const auto name = bytes.text(bytes.next() & 15);
  const auto value = bytes.text(bytes.next() & 7);
  auto tree = treeIn(bytes, 0);
  compare(tree, ptreeToAnyMap(tree));

  const auto sizeBefore = tree.size();
  addRequiredRuntimeServiceProperties(tree, name, value);
  require(tree.size() == sizeBefore || tree.size() == sizeBefore + 1, "a required property is below one node");
  const auto onceMore = tree;
  addRequiredRuntimeServiceProperties(tree, name, value);
  // A name that ends in a dot means another place once the node before the dot is there.
  require((!name.empty() && name.back() == '.') || tree == onceMore, "a required property is there once");
  compare(tree, ptreeToAnyMap(tree));
  return 0;
}
