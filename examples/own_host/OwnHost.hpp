#pragma once

#include <atomic>
#include <filesystem>
#include <memory>
#include <mutex>
#include <set>
#include <vector>

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/Framework.h>

/// Runs the framework and Configuration Admin during its lifetime. One at a time, made and destroyed by main.
class OwnHost {
 public:
  OwnHost(std::filesystem::path root, const std::filesystem::path& configurationAdminBundle);
  ~OwnHost();
  OwnHost(const OwnHost&) = delete;
  OwnHost& operator=(const OwnHost&) = delete;

  /// The host of this process; null if there is none.
  static OwnHost* current() { return current_; }

  const std::shared_ptr<cppmicroservices::Framework>& framework() const { return framework_; }

  /// Installs the bundle files of a directory below the root, in the order of their names. Installing a file again
  /// returns its bundle. Any thread may call it.
  std::vector<cppmicroservices::Bundle> install(const std::filesystem::path& directory);

  std::size_t installedDirectories() const;

 private:
  static std::atomic<OwnHost*> current_;

  const std::filesystem::path root_;
  const std::shared_ptr<cppmicroservices::Framework> framework_;
  mutable std::mutex mutex_;

  // Guarded by `mutex_`:
  std::set<std::filesystem::path> directories_;
};
