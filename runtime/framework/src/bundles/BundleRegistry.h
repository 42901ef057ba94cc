#pragma once

#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "bundles/BundlePrivate.h"

namespace cppmicroservices {

/// One framework's installed bundles, the system bundle included. It runs no foreign code. Any thread may use it, once
/// reset() was called.
class BundleRegistry {
 public:
  using Bundles = std::vector<std::shared_ptr<BundlePrivate>>;

  /// The bundles of one file after an installation.
  struct Installation {
    Bundles present;  // were installed before
    Bundles added;
  };

  /// Makes an empty registry.
  /// \param storage  the folder that the framework may write to
  explicit BundleRegistry(std::filesystem::path storage);

  /// Installs those bundles of a file that are not installed, see BundleContext::InstallBundles.
  /// \param manifests  manifests by symbolic name; if empty, those in the file
  Installation install(const std::string& location, const AnyMap& manifests);
  /// Removes a bundle.
  /// \return false if it was not installed
  bool remove(const BundlePrivate& bundle);
  /// Forgets all bundles but the system bundle; IDs start again.
  void reset(const std::shared_ptr<BundlePrivate>& system);

  /// Returns all bundles, ordered by location, then by ID.
  Bundles all() const;
  Bundles findAt(const std::string& location) const;
  /// Returns the bundle with that ID; null if there is none. The system bundle is always there.
  std::shared_ptr<BundlePrivate> find(long id) const;

  /// Returns the bundle's data folder, which need not exist.
  std::filesystem::path dataFolder(const BundlePrivate& bundle) const;

 private:
  /// The installed bundles of one file.
  struct Site {
    Bundles bundles;
    std::size_t inFile = 0;  // number of bundles in the file, uninstalled ones included
  };

  Site siteAt(const std::string& location) const;
  Bundles installMissing(const std::string& location, const AnyMap& manifests, const Bundles& present);
  Bundles createFromFile(const std::string& location, const std::map<std::string, std::string>& texts);
  Bundles createFrom(const AnyMap& manifests, const std::string& location);
  /// Reserves IDs, which are never used again even if the installation fails.
  /// \return the first one
  long reserveIds(std::size_t count);
  Bundles create(const std::string& location, const AnyMap& manifests, long firstId);
  BundleDescription describe(const std::string& location, const std::string& name, AnyMap headers) const;
  void requireNew(const BundleDescription& description, const Bundles& alreadyMade) const;
  void add(const Bundles& bundles, std::size_t inFile);
  void insert(const std::shared_ptr<BundlePrivate>& bundle, std::size_t inFile);

  const std::filesystem::path storage_;

  std::mutex installMutex_;  // held during an installation, which reads files; no foreign code runs under it

  mutable std::mutex mutex_;
  // Guarded by `mutex_`:
  long lastId_ = 0;
  std::map<std::string, Site> byLocation_;
  std::unordered_map<long, std::shared_ptr<BundlePrivate>> byId_;
};

}  // namespace cppmicroservices
