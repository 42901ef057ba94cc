#pragma once

#include <optional>
#include <ostream>
#include <string>

#include "file/ConfigurationSource.hpp"
#include "file/SourceText.hpp"

namespace spfctl {

/// Checks a configuration for a command that needs one without errors; writes the errors to `messages`. Warnings are
/// `check`'s to show.
/// \param file  what the source is to remember as its file
/// \return null if there are errors
SharedSource checkedSource(std::string file, SourceText text, std::ostream& messages);

/// The same for a file, or standard input for "-".
/// \return null also if the file cannot be read
SharedSource loadSource(const std::string& file, std::ostream& messages);

/// The same for a command that needs no more than the description.
std::optional<ConfigurationDescription> loadConfiguration(const std::string& file, std::ostream& messages);

}  // namespace spfctl
