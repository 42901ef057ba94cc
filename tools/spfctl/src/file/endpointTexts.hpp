#pragma once

#include <string>

namespace spfctl {

/// Returns whether a text is a discovery name: letters, digits, '.', '_' and '-'.
bool isDiscoveryName(const std::string& text);

/// Returns why nobody can connect to an address, naming it and what was expected; empty if one can.
std::string whyNoPeer(const std::string& address);

}  // namespace spfctl
