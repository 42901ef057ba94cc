#pragma once

#include "commands/CommandLine.hpp"
#include "commands/Output.hpp"

namespace spfctl {

/// Prints what changes from one file's configuration to another's.
/// \return 0 for no difference, 1 for differences, 2 for a file that cannot be read or has errors
int diff(const DiffOptions& options, const Output& output);

}  // namespace spfctl
