#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <unordered_map>

#include <cppmicroservices/Any.h>
#include "agent/host/services.hpp"

namespace agent::host::services {

/// The settings of a host. The defaults suit both an installed tree and a build tree.
struct HostOptions {
  /// The folder against which relative bundle directories are resolved. It need not exist yet. A relative one is
  /// resolved against the current directory when the host is constructed.
  /// Empty: the parent of the folder that this library was loaded from.
  std::filesystem::path installationRoot;

  /// The properties of the framework, which every bundle can read through its context. Unless they name a framework
  /// storage, the host uses a temporary folder and deletes it at the end.
  std::unordered_map<std::string, cppmicroservices::Any> frameworkProperties;

  /// The bundle file of Configuration Admin. Empty: `libConfigurationAdmin.so` in the folder of this library, or else
  /// in that of the CppMicroServices library that the process has loaded.
  std::filesystem::path configurationAdminBundle;

  /// Whether bundle files that others may write are refused. "Others may write" means that the mode bit for others
  /// (o+w) is set for the file, or for a folder on its path from `/` on, including the folders of symbolic links; the
  /// group's permissions do not matter. Above and outside of the installation root, a folder with the sticky bit is
  /// accepted, unless it contains the file itself. The Configuration Admin bundle, and a library that it needs from its
  /// folder, are checked in the same way, before either is loaded. docs/guide-hosts.md lists what the check cannot
  /// prevent.
  bool permissionCheck = true;
};

class HostProcess;

/// Runs the process-wide framework, which `getFramework` and `installAndStart` use, during its lifetime.
///
/// Owned by one thread, usually as a local variable of `main`; it has to be destroyed before `main` returns. Handles
/// and services that use the framework have to be released before it.
class [[gnu::visibility("default")]] Host {
 public:
  /// Creates and starts the framework and Configuration Admin. Blocks until both run.
  /// \throws std::logic_error if the process already has a host, or is still stopping one
  /// \throws std::runtime_error naming the file and the reason if Configuration Admin cannot be started; then nothing
  ///         is left running
  explicit Host(HostOptions options = {});

  /// Waits for installations on other threads, then stops Configuration Admin, every other bundle and the framework.
  /// Blocks without a limit until all of them have stopped. Never throws.
  ~Host();

  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  /// Returns the folder against which relative bundle directories are resolved: absolute, normalised and without a
  /// trailing separator.
  [[nodiscard]] const std::filesystem::path& installationRoot() const noexcept;

 private:
  std::shared_ptr<HostProcess> process_;
};

/// Returns why a host would refuse a bundle file by its permissions (see `HostOptions::permissionCheck`), or by being
/// no regular file that can be reached; an empty text if it would not. Needs no host; any thread may call it.
/// \param file  relative ones are below the current directory
/// \param installationRoot  that of the host in question; empty: the default one
[[gnu::visibility("default")]] std::string whyRefused(const std::filesystem::path& file,
                                                      const std::filesystem::path& installationRoot = {});

}  // namespace agent::host::services
