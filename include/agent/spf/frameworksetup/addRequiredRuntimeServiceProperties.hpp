#pragma once

#include <string>

#include <boost/property_tree/ptree.hpp>

namespace agent::spf::frameworksetup {

/// Writes one property that a service has to have at run time into a tree of requested properties.
///
/// The property's key is "spf::requiredServiceProperty::" followed by the name. A dot in the name
/// separates two levels of the tree. A dot that ends the name stands for the node before it where that
/// node exists, and for a new level with an empty key where it does not. An existing node gets the value
/// as its data and keeps its children and position.
///
/// \param properties  changed in place; used by one thread at a time
/// \param name        any text
/// \param value       any text, stored as it is
/// \throws std::bad_alloc, std::length_error
[[gnu::visibility("default")]] void addRequiredRuntimeServiceProperties(boost::property_tree::ptree& properties,
                                                                        const std::string& name,
                                                                        const std::string& value);

}  // namespace agent::spf::frameworksetup
