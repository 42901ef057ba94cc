#pragma once

#include <string>

#include "commands/Definition.hpp"

namespace spfctl {

/// Returns what `--help` prints for the program or for one command: examples first.
std::string helpText(const Definition& definition, const CLI::App& command);

/// Returns the usage of a command in one line, like "spfctl run FILE [OPTION...]".
std::string usageLine(const CLI::App& command);

/// Returns an option as it is written, like "--timeout TIME" or "-h, --help"; a positional one by its name.
std::string optionSyntax(const CLI::Option& option);

}  // namespace spfctl
