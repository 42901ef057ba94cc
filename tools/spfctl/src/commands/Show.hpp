#pragma once

#include "commands/CommandLine.hpp"
#include "commands/ExitCode.hpp"
#include "commands/Output.hpp"

namespace spfctl {

/// Prints what would be published, in one of several forms.
ExitCode show(const ShowOptions& options, const Output& output);

}  // namespace spfctl
