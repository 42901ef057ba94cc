#include <string>
#include <utility>
#include <vector>

#include <boost/property_tree/ptree.hpp>

#include "agent/spf/frameworksetup/addRequiredRuntimeServiceProperties.hpp"
#include "inRandomCases.hpp"

#ifndef NDEBUG
#error "the tree's own put() aborts for some of these names unless its assertions are compiled out"
#endif

namespace spf::test {

using agent::spf::frameworksetup::addRequiredRuntimeServiceProperties;
using boost::property_tree::ptree;
using Write = std::pair<std::string, std::string>;

const std::string prefix = "spf::requiredServiceProperty::";

ptree writtenByPut(ptree tree, const std::vector<Write>& writes) {
  for (const auto& [name, value] : writes) {
    tree.put(ptree::path_type(prefix + name, '.'), value);
  }
  return tree;
}

ptree writtenByTheLibrary(ptree tree, const std::vector<Write>& writes) {
  for (const auto& [name, value] : writes) {
    addRequiredRuntimeServiceProperties(tree, name, value);
  }
  return tree;
}

// Some keys twice, so that the first of them counts; some empty.
ptree treeWithTwins() {
  ptree leaf;
  leaf.push_back({"", ptree("nested")});
  leaf.push_back({"a", ptree("first")});
  leaf.push_back({"a", ptree("second")});
  ptree tree("root");
  for (const auto* key : {"a", "b", "", "a", "b"}) {
    tree.push_back({prefix + key, leaf});
  }
  tree.push_back({"unrelated", leaf});
  return tree;
}

rc::Gen<std::vector<Write>> anyWrites() {
  const auto name = rc::gen::resize(5, rc::gen::container<std::string>(rc::gen::element('a', 'b', '.', '.')));
  const auto value = rc::gen::element<std::string>("", "0", "1", "2");
  return rc::gen::resize(12, rc::gen::container<std::vector<Write>>(rc::gen::pair(name, value)));
}

TEST(RequiredRuntimeServiceProperties, AreWrittenAsTheTreesOwnPutWritesThem) {
  inRandomCases(50, [] {
    const auto start = *rc::gen::element(ptree(), treeWithTwins());
    const auto writes = *anyWrites();
    RC_ASSERT(writtenByTheLibrary(start, writes) == writtenByPut(start, writes));
  });
}

}  // namespace spf::test
