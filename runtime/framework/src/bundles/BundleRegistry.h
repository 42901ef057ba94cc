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

class FrameworkCore;

/// One framework's installed bundles, the system bundle among them. Any thread may use it.
class BundleRegistry {
 public:
  using Bundles = std::vector<std::shared_ptr<BundlePrivate>>;

  explicit BundleRegistry(FrameworkCore& framework);

  /// See BundleContext::InstallBundles.
  /// \param manifests  manifests by symbolic name; if empty, those in the file
  Bundles install(const std::shared_ptr<BundlePrivate>& origin, const std::string& location, const AnyMap& manifests);
  /// Installs the bundles in the running program's own file, if there are any.
  void installProgram();
  /// \return false if the bundle was not among the installed ones
  bool remove(const BundlePrivate& bundle);
  /// Leaves nothing but the system bundle; IDs start again.
  void reset();

  /// \return all bundles, by location, then by ID
  Bundles all() const;
  Bundles at(const std::string& location) const;
  /// \return null if there is none
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
  void tellInstalled(const Bundles& bundles, const std::shared_ptr<BundlePrivate>& origin);
  Bundles createFromFile(const std::string& location, const std::map<std::string, std::string>& texts);
  Bundles createFrom(const AnyMap& manifests, const std::string& location);
  /// IDs are used up even if the installation fails afterwards.
  long useUpIds(std::size_t count);
  Bundles create(const std::string& location, const AnyMap& manifests, long firstId);
  BundleDescription describe(const std::string& location, const std::string& name, AnyMap headers) const;
  void requireNew(const BundleDescription& description, const Bundles& alreadyMade) const;
  void add(const Bundles& bundles, std::size_t inFile);

  FrameworkCore& framework_;

  std::mutex installMutex_;  // one installation at a time; files are read under it, but nobody is called

  mutable std::mutex mutex_;
  // guarded by mutex_
  long lastId_ = 0;
  std::map<std::string, Site> byLocation_;
  std::unordered_map<long, std::shared_ptr<BundlePrivate>> byId_;
};

}  // namespace cppmicroservices
