#pragma once

#include <string>

#include <boost/property_tree/ptree.hpp>

namespace agent::spf::frameworksetup {

/// One service interface of a configuration.
///
/// A plain value that owns its members. Two records with the same `uniqueID` (byte by byte) are the
/// same entry of a configuration, whatever their other members hold.
struct SPFServiceInterfaceConfiguration {
  /// Identity inside one configuration. Any text, the empty one included.
  std::string uniqueID;

  /// The service interface's name.
  std::string name;

  /// Free-form properties requested of the interface; may be empty. Values are handed on as text: a
  /// node with data becomes that text (children of such a node are dropped), a node with children
  /// only becomes a nested map. A tree much deeper than 10,000 levels exhausts the stack when it is
  /// copied.
  boost::property_tree::ptree requestedProperties;
};

}  // namespace agent::spf::frameworksetup
