#pragma once

#include <map>
#include <ostream>
#include <string>

#include <cppmicroservices/Any.h>

#include "commands/CommandLine.hpp"
#include "file/ConfigurationDescription.hpp"

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

/// Warns of each entry of `spf.curve.allow` that is for no publisher of the configuration: a publisher without an entry
/// answers every peer, so a misspelt ID leaves one open.
void warnOfUnknownPublishers(const FrameworkOptions& options, const ConfigurationDescription& description,
                             std::ostream& messages);

}  // namespace spfctl
