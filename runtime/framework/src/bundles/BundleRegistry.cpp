#include "bundles/BundleRegistry.h"

#include <algorithm>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "bundles/BundleArchive.h"
#include "bundles/ManifestReader.h"
#include "core/ExceptionText.h"
#include "cppmicroservices/Constants.h"

namespace cppmicroservices {

namespace {

std::string inBundle(const std::string& name, const std::string& location) {
  return " of bundle " + name + " (location=" + location + ") ";
}

BundleVersion versionIn(const AnyMap& headers, const std::string& name, const std::string& location) {
  const auto found = headers.find(Constants::BUNDLE_VERSION);
  if (found == headers.end()) {
    return BundleVersion::EmptyVersion();
  }
  try {
    return BundleVersion(any_cast<std::string>(found->second));
  } catch (const std::exception& error) {
    throw std::invalid_argument(Constants::BUNDLE_VERSION + inBundle(name, location) + "is not valid: " + error.what());
  }
}

void requireSymbolicName(const AnyMap& headers, const std::string& name, const std::string& location) {
  const auto found = headers.find(Constants::BUNDLE_SYMBOLICNAME);
  if (found == headers.end() || found->second.Empty() || found->second.ToStringNoExcept().empty()) {
    throw std::invalid_argument(Constants::BUNDLE_SYMBOLICNAME + inBundle(name, location) +
                                "is missing or empty in its manifest");
  }
}

template <class Manifests>
Manifests exclude(Manifests manifests, const BundleRegistry::Bundles& present) {
  for (const auto& bundle : present) {
    manifests.erase(bundle->symbolicName);
  }
  return manifests;
}

AnyMap parse(const std::map<std::string, std::string>& texts, const std::string& location) {
  AnyMap manifests(AnyMap::ORDERED_MAP);
  for (const auto& [name, text] : texts) {
    try {
      manifests.emplace(name, readManifest(text));
    } catch (...) {
      throw std::runtime_error("Failed to install bundle library at " + location + ": " + name +
                               "/manifest.json cannot be read: " + currentExceptionText());
    }
  }
  return manifests;
}

}  // namespace

BundleRegistry::BundleRegistry(std::filesystem::path storage) : storage_(std::move(storage)) {}

BundleRegistry::Installation BundleRegistry::install(const std::string& location, const AnyMap& manifests) {
  const std::lock_guard<std::mutex> installing(installMutex_);
  const auto site = siteAt(location);
  if (!site.bundles.empty() && site.bundles.size() >= site.inFile) {
    return {site.bundles, {}};
  }
  return {site.bundles, installMissing(location, manifests, site.bundles)};
}

BundleRegistry::Bundles BundleRegistry::installMissing(const std::string& location, const AnyMap& manifests,
                                                       const Bundles& present) {
  Bundles added;
  if (manifests.empty()) {
    const auto texts = readManifests(location);
    added = createFromFile(location, exclude(texts, present));
    add(added, texts.size());
  } else {
    added = createFrom(exclude(manifests, present), location);
    add(added, manifests.size());
  }
  return added;
}

BundleRegistry::Bundles BundleRegistry::createFromFile(const std::string& location,
                                                       const std::map<std::string, std::string>& texts) {
  const auto firstId = reserveIds(texts.size());
  return create(location, parse(texts, location), firstId);
}

BundleRegistry::Bundles BundleRegistry::createFrom(const AnyMap& manifests, const std::string& location) {
  if (!std::filesystem::exists(location)) {
    throw std::runtime_error(location + " does not exist");
  }
  return create(location, manifests, reserveIds(manifests.size()));
}

long BundleRegistry::reserveIds(std::size_t count) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto first = lastId_ + 1;
  lastId_ += static_cast<long>(count);
  return first;
}

BundleRegistry::Bundles BundleRegistry::create(const std::string& location, const AnyMap& manifests, long firstId) {
  const auto system = find(systemBundleId);
  std::map<std::string, Any> sorted(manifests.begin(), manifests.end());
  Bundles bundles;
  try {
    for (const auto& [name, headers] : sorted) {
      auto description = describe(location, name, any_cast<AnyMap>(headers));
      requireNew(description, bundles);
      const auto id = firstId + static_cast<long>(bundles.size());
      bundles.push_back(system->makeSibling(id, std::move(description)));
    }
  } catch (...) {
    throw std::runtime_error("Failed to install bundle library at " + location + ": " + currentExceptionText());
  }
  return bundles;
}

BundleDescription BundleRegistry::describe(const std::string& location, const std::string& name, AnyMap headers) const {
  requireSymbolicName(headers, name, location);
  return {location, name, versionIn(headers, name, location), std::move(headers)};
}

void BundleRegistry::requireNew(const BundleDescription& description, const Bundles& alreadyMade) const {
  const auto same = [&](const std::shared_ptr<BundlePrivate>& bundle) {
    return bundle->symbolicName == description.symbolicName && bundle->version == description.version;
  };
  const auto installed = all();
  if (std::any_of(installed.begin(), installed.end(), same) ||
      std::any_of(alreadyMade.begin(), alreadyMade.end(), same)) {
    throw std::invalid_argument("a bundle with the same symbolic name and version is already installed (" +
                                description.symbolicName + ", " + description.version.ToString() + ")");
  }
}

void BundleRegistry::add(const Bundles& bundles, std::size_t inFile) {
  const std::lock_guard<std::mutex> lock(mutex_);
  for (const auto& bundle : bundles) {
    insert(bundle, inFile);
  }
}

void BundleRegistry::insert(const std::shared_ptr<BundlePrivate>& bundle, std::size_t inFile) {
  auto& site = byLocation_[bundle->location];
  site.bundles.push_back(bundle);
  site.inFile = inFile;
  byId_.emplace(bundle->id, bundle);
}

bool BundleRegistry::remove(const BundlePrivate& bundle) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = byId_.find(bundle.id);
  if (found == byId_.end() || found->second.get() != &bundle) {
    return false;  // it was installed before a restart
  }
  byId_.erase(found);
  auto& there = byLocation_[bundle.location].bundles;
  there.erase(std::remove_if(there.begin(), there.end(), [&](const auto& each) { return each.get() == &bundle; }),
              there.end());
  if (there.empty()) {
    byLocation_.erase(bundle.location);
  }
  return true;
}

void BundleRegistry::reset(const std::shared_ptr<BundlePrivate>& system) {
  std::map<std::string, Site> forgotten;  // destroyed without the lock
  const std::lock_guard<std::mutex> lock(mutex_);
  lastId_ = systemBundleId;
  forgotten.swap(byLocation_);
  byId_.clear();
  insert(system, 1);
}

BundleRegistry::Bundles BundleRegistry::all() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  Bundles bundles;
  bundles.reserve(byId_.size());
  for (const auto& [location, site] : byLocation_) {
    bundles.insert(bundles.end(), site.bundles.begin(), site.bundles.end());
  }
  return bundles;
}

BundleRegistry::Bundles BundleRegistry::findAt(const std::string& location) const {
  return siteAt(location).bundles;
}

BundleRegistry::Site BundleRegistry::siteAt(const std::string& location) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = byLocation_.find(location);
  return found == byLocation_.end() ? Site() : found->second;
}

std::shared_ptr<BundlePrivate> BundleRegistry::find(long id) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  const auto found = byId_.find(id);
  return found == byId_.end() ? nullptr : found->second;
}

std::filesystem::path BundleRegistry::dataFolder(const BundlePrivate& bundle) const {
  return storage_ / "data" / std::to_string(bundle.id);
}

}  // namespace cppmicroservices
