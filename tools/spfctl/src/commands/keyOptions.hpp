#pragma once

#include <map>
#include <ostream>
#include <string>

#include <cppmicroservices/Any.h>

#include "commands/CommandLine.hpp"

namespace spfctl {

/// Compares `--key` and `--trust` with one another and with the properties.
/// \throws UsageError if one of them is missing, a property sets the same, or no name of the key is known
void checkKeys(const FrameworkOptions& options);

/// Adds the properties that `--key` and `--trust` stand for, if they are given. Both are read for that, so that a host
/// does not begin with what its transport would refuse. What is wrong is written to `messages`, and so are keys of the
/// folder that cannot be trusted, and a folder without any.
/// \return false if the key or the folder cannot be used
bool addKeyProperties(const FrameworkOptions& options, std::map<std::string, cppmicroservices::Any>& properties,
                      std::ostream& messages);

}  // namespace spfctl
