#include "agent/spf/frameworksetup/SPFConfigurationBuilder.hpp"
#include "agent/spf/frameworksetup/addRequiredRuntimeServiceProperties.hpp"

/// Publishes a configuration and withdraws it, which writes a log record.
extern "C" [[gnu::visibility("default")]] void publishAndWithdraw(const char* id) {
  agent::spf::frameworksetup::SPFConfigurationBuilder(id).build().reset();
}

/// Writes a required property into a tree of its own.
extern "C" [[gnu::visibility("default")]] void writeARequiredProperty() {
  boost::property_tree::ptree tree;
  agent::spf::frameworksetup::addRequiredRuntimeServiceProperties(tree, "", "");
}
