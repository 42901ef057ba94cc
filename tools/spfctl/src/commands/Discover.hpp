#pragma once

#include "commands/CommandLine.hpp"
#include "commands/ExitCode.hpp"
#include "commands/Output.hpp"

namespace spfctl {

/// Lists what discovery names stand for, and follows changes if that is asked for. Needs no host.
ExitCode discover(const DiscoverOptions& options, const Output& output);

}  // namespace spfctl
