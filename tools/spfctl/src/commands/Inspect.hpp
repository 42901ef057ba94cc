#pragma once

#include "commands/CommandLine.hpp"
#include "commands/ExitCode.hpp"
#include "commands/Output.hpp"

namespace spfctl {

/// Prints what bundle files hold and whether this host and runtime would take them. Runs none of their code.
ExitCode inspect(const InspectOptions& options, const Output& output);

}  // namespace spfctl
