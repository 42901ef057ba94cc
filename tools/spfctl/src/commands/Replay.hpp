#pragma once

#include "commands/CommandLine.hpp"
#include "commands/ExitCode.hpp"
#include "commands/Output.hpp"

namespace spfctl {

/// Feeds the events of a recording to its configuration without the framework's bundles, and prints where each
/// publisher ends, which events had no effect and why, and how many the recording lacks. Needs a process without a
/// host. \throws UsageError if both files are standard input
ExitCode replay(const ReplayOptions& options, const Output& output);

}  // namespace spfctl
