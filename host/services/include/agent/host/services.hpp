#pragma once

#include <memory>
#include <utility>
#include <vector>

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/LDAPFilter.h>
#include "agent/host/filesystem.hpp"

namespace agent::host::services {

/// Returns the process-wide framework, which the process's `Host` has started; null if there is no `Host`.
///
/// Never throws, and takes a lock for a short time only. Any thread may call it. The pointer keeps the framework object
/// alive, not running: after the destruction of the `Host` the framework is stopped.
[[gnu::visibility("default")]] std::shared_ptr<cppmicroservices::Framework> getFramework();

/// Installs and starts every bundle file of one directory, in file name order.
///
/// A bundle file is a regular `*.so` or `*.zip` directly in the directory. Repeated calls are cheap and install files
/// that were added. Calls of several threads are serialised; an activator may call it recursively.
///
/// A bundle file that is replaced on disk is not reloaded while its bundle is installed: the call returns the existing
/// bundle, with the old code and the old manifest. Loading the new file requires a new `Host`, and for code that the
/// process cannot unload a new process.
///
/// \param directory  resolved against the host's installation root if it is relative
/// \return the directory's bundles; empty if the directory does not exist or there is no `Host`
/// \throws std::runtime_error naming the file and the reason if a bundle cannot be installed or started, or if others
///         may write the file or a folder above it. Bundles installed before the failure stay installed.
[[gnu::visibility("default")]] std::vector<cppmicroservices::Bundle> installAndStart(filesystem::path directory);

/// Installs every bundle file of one directory, and starts those whose manifest matches the filter.
/// \param directory  resolved against the host's installation root if it is relative
/// \param filter     matched against the bundle's manifest headers
/// \return first: the directory's bundles; second: those of them that match and were started
/// The other overload's rules apply otherwise.
[[gnu::visibility("default")]] std::pair<std::vector<cppmicroservices::Bundle>, std::vector<cppmicroservices::Bundle>>
installAndStart(filesystem::path directory, const cppmicroservices::LDAPFilter& filter);

}  // namespace agent::host::services
