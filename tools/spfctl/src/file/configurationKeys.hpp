#pragma once

#include <string>
#include <vector>

namespace spfctl {

/// The shape of the value of a key in a configuration file.
enum class ValueShape {
  text,
  boolean,
  filter,             ///< a text that is an LDAP filter, or empty
  tree,               ///< an object of any content
  texts,              ///< an object whose values are texts
  endpoints,          ///< a list of anything
  serviceInterfaces,  ///< lists of objects
  servicePublishers,
  serviceMappings
};

/// A key of an object in a configuration file.
struct ConfigurationKey {
  const char* name;
  ValueShape shape;
  bool isRequired;
  const char* description;
};

/// A kind of object in a configuration file.
struct ConfigurationObject {
  const char* name;        ///< in messages: "a service interface"
  const char* definition;  ///< in the schema: "serviceInterface"
  std::vector<ConfigurationKey> keys;
};

// The one table of what a configuration file may hold: the reader, its messages and the schema are made from it.
extern const ConfigurationObject configurationObject;
extern const ConfigurationObject serviceInterfaceObject;
extern const ConfigurationObject servicePublisherObject;
extern const ConfigurationObject serviceMappingObject;

}  // namespace spfctl
