#include "agent/spf/frameworksetup/addRequiredRuntimeServiceProperties.hpp"

namespace agent::spf::frameworksetup {

namespace {

using boost::property_tree::ptree;

ptree& childOrNewChild(ptree& parent, const std::string& key) {
  const auto found = parent.find(key);
  return found != parent.not_found() ? found->second : parent.push_back({key, ptree()})->second;
}

// Walks the levels itself: where nodes are missing before a dot that ends the path, the tree's own put() is an
// assertion in some builds.
ptree& newNode(ptree& properties, const std::string& path) {
  ptree* level = &properties;
  std::string::size_type begin = 0;
  for (auto dot = path.find('.'); dot != std::string::npos; dot = path.find('.', begin)) {
    level = &childOrNewChild(*level, path.substr(begin, dot - begin));
    begin = dot + 1;
  }
  return childOrNewChild(*level, path.substr(begin));
}

}  // namespace

void addRequiredRuntimeServiceProperties(ptree& properties, const std::string& name, const std::string& value) {
  static const std::string requiredServicePropertyPrefix = "spf::requiredServiceProperty::";
  const std::string path = requiredServicePropertyPrefix + name;
  const auto node = properties.get_child_optional(ptree::path_type(path, '.'));
  (node ? *node : newNode(properties, path)).data() = value;
}

}  // namespace agent::spf::frameworksetup
