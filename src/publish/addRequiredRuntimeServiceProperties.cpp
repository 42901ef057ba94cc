#include "agent/spf/frameworksetup/addRequiredRuntimeServiceProperties.hpp"

namespace agent::spf::frameworksetup {

namespace {

using boost::property_tree::ptree;

ptree& childOrNewChild(ptree& parent, const std::string& key) {
  const auto found = parent.find(key);
  return found != parent.not_found() ? found->second : parent.push_back({key, ptree()})->second;
}

}  // namespace

// Walks the levels itself: the tree's own put() takes a dot at the end for an empty path, which is an
// assertion in some builds and another place in the tree in others.
void addRequiredRuntimeServiceProperties(ptree& properties, const std::string& name, const std::string& value) {
  static const std::string requiredServicePropertyPrefix = "spf::requiredServiceProperty::";
  const std::string path = requiredServicePropertyPrefix + name;
  ptree* level = &properties;
  std::string::size_type begin = 0;
  for (auto dot = path.find('.'); dot != std::string::npos; dot = path.find('.', begin)) {
    level = &childOrNewChild(*level, path.substr(begin, dot - begin));
    begin = dot + 1;
  }
  childOrNewChild(*level, path.substr(begin)).data() = value;
}

}  // namespace agent::spf::frameworksetup
