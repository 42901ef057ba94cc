#pragma once

#include "commands/CommandLine.hpp"
#include "commands/ExitCode.hpp"
#include "commands/Output.hpp"

namespace spfctl {

// The commands that ask or change a running host through its control socket. Each returns the process's exit code, and
// prints why it is not 0.

ExitCode status(const StatusOptions& options, const Output& output);
ExitCode watch(const WatchOptions& options, const Output& output);
ExitCode apply(const ApplyOptions& options, const Output& output);
ExitCode withdraw(const WithdrawOptions& options, const Output& output);
ExitCode ask(const AskOptions& options, const Output& output);
ExitCode log(const LogOptions& options, const Output& output);

}  // namespace spfctl
