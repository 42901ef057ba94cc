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

/// Installs bundle files into the framework and starts them; remembers what it installed.
///
/// One caller works at a time, the others wait; the thread that works may come back from inside an
/// activator. Any thread may call any member.
class BundleInstaller {
 public:
  using Bundles = std::vector<cppmicroservices::Bundle>;

  /// \param root  the installation root; absolute
  BundleInstaller(std::shared_ptr<cppmicroservices::Framework> framework, std::filesystem::path root,
                  PermissionCheck permissionCheck);

  /// Installs and starts every bundle file of the directory.
  /// \param directory  absolute
  /// \return the directory's bundles; empty once the installer was closed
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

  /// Waits for the call that is running; later ones install nothing.
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

  // Held while activators run, because two callers may not install the same directory at once;
  // recursive, because an activator may come back.
  std::recursive_mutex mutex_;

  // Guarded by `mutex_`:
  std::map<std::string, InstalledFile> installed_;
  std::set<long> starting_;
  bool closed_ = false;
};

}  // namespace agent::host::services
