#pragma once

#include <string>

#include "file/ConfigurationDescription.hpp"

namespace spfctl {

/// Returns a configuration as a tree for people: interfaces with their properties, publishers with their endpoints and
/// the interfaces that they publish.
std::string configurationTree(const ConfigurationDescription& description);

}  // namespace spfctl
