#pragma once

#include <memory>
#include <utility>
#include <vector>

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/LDAPFilter.h>
#include "agent/host/filesystem.hpp"

namespace agent::host::services {

/// The process-wide framework.
/// \return the framework that the process's `Host` started; null when there is none.
/// Never throws, never blocks for long; any thread may call it. A pointer taken keeps the framework
/// object alive, not running: after the `Host` is gone it is a stopped framework.
[[gnu::visibility("default")]] std::shared_ptr<cppmicroservices::Framework> getFramework();

/// Installs and starts every bundle file of one directory, in file name order.
///
/// A bundle file is a regular `*.so` or `*.zip` directly in the directory. Repeating the call costs
/// next to nothing when nothing changed and picks up new files. Concurrent calls are serialised;
/// an activator may call it again from its own thread of control.
///
/// A bundle file that is replaced on disk is not loaded again while its bundle is installed: the
/// call answers the bundle that it had, with the old code and the old manifest. It takes a new
/// `Host` to load the new file, and for code that the process cannot unload a new process.
///
/// \param directory  resolved against the host's installation root when it is relative
/// \return the directory's bundles; empty when the directory does not exist or there is no `Host`
/// \throws std::runtime_error naming the file and the reason when a bundle cannot be installed or
///         started, or when others may write the file or a folder above it. Bundles that were
///         installed before the failure stay.
[[gnu::visibility("default")]] std::vector<cppmicroservices::Bundle> installAndStart(filesystem::path directory);

/// Installs every bundle file of one directory, and starts those whose manifest matches the filter.
/// \param filter  matched against the bundle's manifest headers
/// \return first: the directory's bundles; second: those of them that match and were started
/// Everything else as above.
[[gnu::visibility("default")]] std::pair<std::vector<cppmicroservices::Bundle>, std::vector<cppmicroservices::Bundle>>
installAndStart(filesystem::path directory, const cppmicroservices::LDAPFilter& filter);

}  // namespace agent::host::services
