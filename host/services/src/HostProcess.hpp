#pragma once

#include <filesystem>
#include <memory>
#include <optional>

#include <cppmicroservices/Framework.h>
#include "BundleInstaller.hpp"
#include "PermissionCheck.hpp"
#include "TemporaryFolder.hpp"
#include "agent/host/host.hpp"

namespace agent::host::services {

/// A framework and its installed bundles. A process has at most one at a time.
///
/// Any thread may call any member, also after the stop: then nothing is installed.
class HostProcess {
 public:
  /// Creates the framework without starting it.
  explicit HostProcess(const HostOptions& options);

  /// Stops the framework, as `stop` does.
  ~HostProcess();

  HostProcess(const HostProcess&) = delete;
  HostProcess& operator=(const HostProcess&) = delete;

  /// Starts the framework and Configuration Admin. No code of the bundle or its companion runs before their permissions
  /// are checked.
  /// \param configurationAdminBundle  the bundle's file; empty: the default one
  /// \throws std::runtime_error naming the file and the reason
  void start(const std::filesystem::path& configurationAdminBundle);

  /// Waits for a running installation, stops the framework, and waits for that without a limit.
  /// May be repeated. Never throws.
  void stop() noexcept;

  const std::filesystem::path& root() const noexcept { return root_; }
  const std::shared_ptr<cppmicroservices::Framework>& framework() const noexcept { return framework_; }
  BundleInstaller& installer() noexcept { return installer_; }

 private:
  // Constant after construction; the storage outlives the framework that uses it:
  const std::filesystem::path root_;
  const PermissionCheck permissionCheck_;
  std::optional<TemporaryFolder> storage_;
  const std::shared_ptr<cppmicroservices::Framework> framework_;

  // Synchronised by itself:
  BundleInstaller installer_;
};

}  // namespace agent::host::services
