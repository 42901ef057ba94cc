#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include <cppmicroservices/BundleContext.h>

#include "agent/host/filesystem.hpp"

namespace spf::benchmarks {

/// Starts the host of this process with the bundles of the build tree, unless it runs.
void startHost();

/// Stops the host if it runs.
void stopHost();

/// Returns the context of the running host's framework.
cppmicroservices::BundleContext hostContext();

std::filesystem::path installationRoot();

/// The names of the bundle directories, in the order in which they are installed; the last one with a filter.
std::vector<std::wstring> bundleDirectoryNames();

/// Returns such a directory as the library names it: relative to the installation root.
agent::host::filesystem::path bundleDirectory(const std::wstring& name);

}  // namespace spf::benchmarks
