#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace spfctl {

/// Returns why a file is no shared library that this process could load, or which of the functions it does not export
/// that the runtime calls in a bundle with an activator. Reads the file's symbol table only.
std::vector<std::string> entryPointProblems(const std::filesystem::path& library, const std::string& symbolicName);

}  // namespace spfctl
