#pragma once

#include <filesystem>
#include <string>

#include "file/ConfigurationDescription.hpp"

namespace spfctl {

/// Reads a configuration file.
/// \throws FileError for a file that cannot be read or is not a regular file, and for any content that
///         is not a configuration: broken JSON, unknown or missing keys, keys or IDs given twice, values
///         of a wrong type
ConfigurationDescription readConfigurationFile(const std::filesystem::path& file);

/// The same for a text; `name` stands for the file in messages.
ConfigurationDescription readConfiguration(std::string name, std::string text);

}  // namespace spfctl
