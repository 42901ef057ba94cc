#pragma once

#include "commands/Changes.hpp"
#include "commands/CommandLine.hpp"
#include "commands/Output.hpp"
#include "commands/Signals.hpp"

namespace spfctl {

/// Publishes the configuration of a file, waits until it is ready, stays until a signal, and withdraws it.
/// \return the process's exit code
int run(const RunOptions& options, const Signals& signals, Changes& changes, const Output& output);

}  // namespace spfctl
