#pragma once

#include <string>

#include "commands/Definition.hpp"

namespace spfctl {

/// Returns the script that teaches a shell to complete the command line.
/// \param shell  "bash", "zsh" or "fish"
std::string completionScript(const Definition& definition, const std::string& shell);

}  // namespace spfctl
