#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <utility>

#include "display/terminalText.hpp"
#include "file/readConfiguration.hpp"

namespace spfctl {

/// Reads and checks a configuration for a command that needs one without errors; writes the errors to `messages`.
/// Warnings are `check`'s to show.
/// \return nothing if there are errors or the file cannot be read
inline std::optional<ConfigurationDescription> loadConfiguration(const std::string& file, std::ostream& messages) {
  try {
    auto checked = checkConfiguration(readSource(file));
    if (checked.findings.errors() == 0) {
      return std::move(checked.description);
    }
    printErrors(messages, checked.source, checked.findings);
  } catch (const FileError& error) {
    messages << "spfctl: " << escaped(error.what()) << '\n';
  }
  return std::nullopt;
}

}  // namespace spfctl
