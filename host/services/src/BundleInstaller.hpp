#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/Framework.h>
#include "BundleDirectory.hpp"
#include "PermissionCheck.hpp"

namespace cppmicroservices {
class LDAPFilter;
}

namespace agent::host::services {

/// Installs bundle files into the framework and starts them, and keeps a record of the installed files.
///
/// Any thread may call any member. One call runs at a time, others wait; an activator may call recursively.
class BundleInstaller {
 public:
  using Bundles = std::vector<cppmicroservices::Bundle>;

  /// Constructs an installer without any installed file.
  /// \param root  the installation root; absolute
  BundleInstaller(std::shared_ptr<cppmicroservices::Framework> framework, std::filesystem::path root,
                  PermissionCheck permissionCheck);

  /// Installs and starts every bundle file of the directory.
  /// \param directory  absolute
  /// \return the directory's bundles; empty if the installer was closed
  /// \throws std::runtime_error naming the file and the reason
  Bundles installAndStart(const std::filesystem::path& directory);

  /// Installs every bundle file of the directory and starts those whose headers match.
  /// \return the directory's bundles, and those of them that match
  std::pair<Bundles, Bundles> installAndStart(const std::filesystem::path& directory,
                                              const cppmicroservices::LDAPFilter& filter);

  /// Installs and starts the bundles of one file.
  /// \param file  its path is absolute
  /// \throws std::runtime_error naming the file and the reason
  void installAndStartFile(const BundleFile& file);

  /// Waits for a running call, and lets later calls install nothing.
  void close();

 private:
  struct InstalledFile {
    FileIdentity identity;
    Bundles bundles;
  };

  Bundles installDirectory(const std::filesystem::path& directory);
  const Bundles& installFile(const BundleFile& file);
  Bundles installLocation(const std::filesystem::path& file);
  void start(cppmicroservices::Bundle bundle);

  // Constant after construction:
  const std::shared_ptr<cppmicroservices::Framework> framework_;
  const std::filesystem::path root_;
  const PermissionCheck permissionCheck_;

  // Held while activators run, because two calls must not install the same directory at the same time; recursive,
  // because an activator may call again.
  std::recursive_mutex mutex_;

  // Guarded by `mutex_`:
  std::map<std::string, BundleDirectory> directories_;
  std::map<std::string, InstalledFile> installed_;
  std::set<long> starting_;
  bool closed_ = false;
};

}  // namespace agent::host::services
