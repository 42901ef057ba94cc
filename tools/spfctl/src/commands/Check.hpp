#pragma once

#include "commands/CommandLine.hpp"
#include "commands/ExitCode.hpp"
#include "commands/Output.hpp"

namespace spfctl {

/// Checks files and prints all findings.
ExitCode check(const CheckOptions& options, const Output& output);

}  // namespace spfctl
