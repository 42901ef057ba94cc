#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <unordered_map>

#include <cppmicroservices/Any.h>
#include "agent/host/services.hpp"

namespace agent::host::services {

/// What a host process may set; the defaults suit an installed tree and a build tree alike.
struct HostOptions {
  /// Folder that relative bundle directories are resolved against; it need not exist yet. A relative
  /// one is below the current directory of the moment when the host is made.
  /// Empty: the folder above the one that this library was loaded from.
  std::filesystem::path installationRoot;

  /// Properties of the framework, readable by every bundle through its context. Unless they name a
  /// framework storage, the host uses a temporary folder of its own and deletes it at the end.
  std::unordered_map<std::string, cppmicroservices::Any> frameworkProperties;

  /// The bundle file that implements Configuration Admin. Empty: `libConfigurationAdmin.so` beside
  /// this library, else beside the CppMicroServices library that the process has loaded.
  std::filesystem::path configurationAdminBundle;

  /// Whether bundle files that others may write are refused. "Others may write" means the mode bit
  /// for others (o+w) of the file, or of a folder on the way to it, from `/` on, the places that symbolic
  /// links lead through included; that the group may write does not count. Above the installation root and
  /// outside of it, a folder with the sticky bit is accepted, unless it holds the file itself. The
  /// Configuration Admin bundle, and a library that it needs from its folder, are judged alike, and
  /// before any of them is loaded. docs/overview.md says what remains possible.
  bool permissionCheck = true;
};

class HostProcess;

/// Runs the process-wide framework for as long as it lives: what `getFramework` and
/// `installAndStart` answer from.
///
/// Owned by one thread, usually as a local variable of `main`; it has to be gone before `main`
/// returns. Handles and services that use the framework have to be released before it.
class [[gnu::visibility("default")]] Host {
 public:
  /// Creates and starts the framework and Configuration Admin. Blocks until both run.
  /// \throws std::logic_error when the process has a host already (or is still stopping one)
  /// \throws std::runtime_error naming the file and the reason when Configuration Admin cannot be
  ///         started; nothing is left running then
  explicit Host(HostOptions options = {});

  /// Stops Configuration Admin, every other bundle and the framework, and waits for that without a
  /// limit: as long as the slowest bundle's stop takes. Installations that run on other threads are
  /// waited for first. Never throws.
  ~Host();

  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  /// The folder that relative bundle directories are resolved against: absolute, normalised and
  /// without a separator at its end.
  [[nodiscard]] const std::filesystem::path& installationRoot() const noexcept;

 private:
  std::shared_ptr<HostProcess> process_;
};

}  // namespace agent::host::services
