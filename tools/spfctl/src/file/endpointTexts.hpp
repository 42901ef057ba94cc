#pragma once

#include <string>

namespace spfctl {

/// Returns whether a text is a discovery name: letters, digits, '.', '_' and '-'.
bool isDiscoveryName(const std::string& text);

/// Returns why a text is no address that one can connect to, naming it and what was expected; empty if it is one. An
/// address of `tcp` may name a key (`#name`).
std::string whyNoPeer(const std::string& text);

}  // namespace spfctl
