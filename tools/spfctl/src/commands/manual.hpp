#pragma once

#include <string>

#include "commands/Definition.hpp"

namespace spfctl {

/// Returns the manual page in the roff language.
std::string manualPage(const Definition& definition);

}  // namespace spfctl
