#include <algorithm>
#include <cctype>
#include <sstream>

#include <boost/property_tree/ptree.hpp>

#include "inRandomCases.hpp"
#include "publish/ptreeToAnyMap.hpp"
#include "support/canonicalText.hpp"

namespace spf::test {

using boost::property_tree::ptree;

/// A key as it is written into a tree and as it is published.
struct SampleKey {
  std::string written;
  std::string published;
};

const SampleKey sampleKeys[] = {{"", ""},
                                {"a", "a"},
                                {"A", "A"},
                                {"x.y", "x.y"},
                                {"b/c", "b\\/c"},
                                {"B/\tC", "B\\/\\tC"},
                                {"\x01", "\\u0001"},
                                {"\xFF", "\xFF"}};

/// One node below the root: where it hangs, by the number of an earlier node or of the root, and what it holds.
struct Node {
  std::size_t parent = 0;
  const SampleKey* key = nullptr;
  std::string data;
};

std::ostream& operator<<(std::ostream& stream, const Node& node) {
  return stream << "'" << node.key->written << "'='" << node.data << "' under " << node.parent;
}

using Nodes = std::vector<Node>;

std::size_t parentOf(const Nodes& nodes, std::size_t number) {
  return nodes[number - 1].parent % number;
}

// Nodes are numbered from 1; 0 is the root.
ptree treeOf(const Nodes& nodes, std::size_t number) {
  ptree tree(number == 0 ? "root" : nodes[number - 1].data);
  for (std::size_t child = number + 1; child <= nodes.size(); ++child) {
    if (parentOf(nodes, child) == number) {
      tree.push_back({nodes[child - 1].key->written, treeOf(nodes, child)});
    }
  }
  return tree;
}

std::string lowerCase(std::string key) {
  std::transform(key.begin(), key.end(), key.begin(), [](unsigned char c) { return std::tolower(c); });
  return key;
}

// The first spelling of a key stays, and the last value.
std::string expectedText(const Nodes& nodes, std::size_t number) {
  std::map<std::string, std::pair<std::string, std::string>> entries;
  for (std::size_t child = number + 1; child <= nodes.size(); ++child) {
    if (parentOf(nodes, child) != number) {
      continue;
    }
    const auto nested = expectedText(nodes, child);
    const auto& node = nodes[child - 1];
    const auto& key = node.key->published;
    auto& entry = entries.emplace(lowerCase(key), std::make_pair(key, "")).first->second;
    entry.second = node.data.empty() && nested != "{}" ? nested : "'" + node.data + "'";
  }
  std::vector<std::string> lines;
  for (const auto& [folded, entry] : entries) {
    lines.push_back(entry.first + ":" + entry.second + ",");
  }
  std::sort(lines.begin(), lines.end());
  std::string text = "{";
  for (const auto& line : lines) {
    text += line;
  }
  return text + "}";
}

TEST(AConvertedPropertyTree, IsWhatAPlainModelGivesForRandomTrees) {
  inRandomCases(10, [] {
    const auto nodes =
        *rc::gen::resize(30, rc::gen::container<Nodes>(rc::gen::build<Node>(
                                 rc::gen::set(&Node::parent, rc::gen::inRange<std::size_t>(0, 30)),
                                 rc::gen::set(&Node::key, anyRowOf(sampleKeys)),
                                 rc::gen::set(&Node::data, rc::gen::element<std::string>("", "", "1", "a/\t\"")))));
    const auto tree = treeOf(nodes, 0);
    const auto copy = tree;
    RC_ASSERT(canonicalText(agent::spf::frameworksetup::ptreeToAnyMap(tree)) == expectedText(nodes, 0));
    RC_ASSERT(tree == copy);
  });
}

}  // namespace spf::test
