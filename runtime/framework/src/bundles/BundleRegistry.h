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

/// One framework's installed bundles, the system bundle among them. Calls nobody. Any thread may use it, once reset()
/// was called.
class BundleRegistry {
 public:
  using Bundles = std::vector<std::shared_ptr<BundlePrivate>>;

  /// The bundles of one file after an installation.
  struct Installation {
    Bundles present;  // that were installed before
    Bundles added;
  };

  /// \param storage  the folder that the framework may write to
  explicit BundleRegistry(std::filesystem::path storage);

  /// Installs those bundles of a file that are not installed, see BundleContext::InstallBundles.
  /// \param manifests  manifests by symbolic name; if empty, those in the file
  Installation install(const std::string& location, const AnyMap& manifests);
  /// \return false if the bundle was not among the installed ones
  bool remove(const BundlePrivate& bundle);
  /// Forgets all bundles but the system bundle; IDs start again.
  void reset(const std::shared_ptr<BundlePrivate>& system);

  /// \return all bundles, by location, then by ID
  Bundles all() const;
  Bundles at(const std::string& location) const;
  /// Returns the bundle with that ID; null if there is none. The system bundle is always there.
  std::shared_ptr<BundlePrivate> find(long id) const;

  /// \return the folder that is the bundle's own; it need not exist
  std::filesystem::path dataFolder(const BundlePrivate& bundle) const;

 private:
  /// The installed bundles of one file.
  struct Site {
    Bundles bundles;
    std::size_t inFile = 0;  // how many there are in the file, those that were uninstalled included
  };

  Site siteAt(const std::string& location) const;
  Bundles installMissing(const std::string& location, const AnyMap& manifests, const Bundles& present);
  Bundles createFromFile(const std::string& location, const std::map<std::string, std::string>& texts);
  Bundles createFrom(const AnyMap& manifests, const std::string& location);
  /// IDs are used up even if the installation fails afterwards.
  long useUpIds(std::size_t count);
  Bundles create(const std::string& location, const AnyMap& manifests, long firstId);
  BundleDescription describe(const std::string& location, const std::string& name, AnyMap headers) const;
  void requireNew(const BundleDescription& description, const Bundles& alreadyMade) const;
  void add(const Bundles& bundles, std::size_t inFile);
  void insert(const std::shared_ptr<BundlePrivate>& bundle, std::size_t inFile);

  const std::filesystem::path storage_;

  std::mutex installMutex_;  // one installation at a time; files are read under it, but nobody is called

  mutable std::mutex mutex_;
  // guarded by mutex_
  long lastId_ = 0;
  std::map<std::string, Site> byLocation_;
  std::unordered_map<long, std::shared_ptr<BundlePrivate>> byId_;
};

}  // namespace cppmicroservices
