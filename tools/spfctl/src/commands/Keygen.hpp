#pragma once

#include "commands/CommandLine.hpp"
#include "commands/ExitCode.hpp"
#include "commands/Output.hpp"

namespace spfctl {

/// Makes a pair of keys, and prints where its files are and the public one.
ExitCode keygen(const KeygenOptions& options, const Output& output);

}  // namespace spfctl
