#pragma once

#include <map>
#include <optional>
#include <ostream>
#include <string>

#include <cppmicroservices/Any.h>

#include "agent/spf/etcd/Settings.hpp"
#include "commands/CommandLine.hpp"
#include "file/discoveryTable.hpp"

namespace spfctl {

/// Adds a property as the command line gives it, `NAME=VALUE`: a value that begins with `{` or `[` is JSON, which
/// becomes an `AnyMap` or a `std::vector<Any>`, any other is a text. \throws UsageError naming what is wrong: no name,
/// a name given twice, JSON that is none with its line and column in
///         the value, a property that the host sets itself
void addProperty(FrameworkOptions& options, const std::string& text);

/// Adds a source of names as the command line gives it, `etcd:URL[,URL...]` or `table:FILE`.
/// \throws UsageError for another text, a part that is no URL of a client, or if there is one of this kind already
void addDiscovery(FrameworkOptions& options, const std::string& text);

/// Compares the options with one another, and reads the settings of etcd.
/// \throws UsageError naming a property that another option sets as well, or that etcd cannot be used with
void checkFramework(const FrameworkOptions& options);

/// Returns how the options reach etcd; nothing if they do not name its members.
/// \throws UsageError naming a property that cannot be used
std::optional<agent::spf::etcd::Settings> etcdSettings(const FrameworkOptions& options);

/// Reads a table of names. \return nothing if it cannot be used, which is written to `messages`
std::optional<CheckedTable> loadTable(const std::string& file, std::ostream& messages);

/// Returns the properties that the options stand for; nothing if the table or a key cannot be used, which is written to
/// `messages`.
std::optional<std::map<std::string, cppmicroservices::Any>> frameworkProperties(const FrameworkOptions& options,
                                                                                std::ostream& messages);

}  // namespace spfctl
