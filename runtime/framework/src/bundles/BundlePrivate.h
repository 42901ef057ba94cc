#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/Bundle.h"
#include "cppmicroservices/BundleVersion.h"

namespace cppmicroservices {

class BundleContextPrivate;
class FrameworkCore;
class ResourceTree;

constexpr long systemBundleId = 0;

/// The description that a bundle is made from.
struct BundleDescription {
  std::string location;
  std::string symbolicName;
  BundleVersion version;
  AnyMap headers;
};

/// The state behind the handles to one bundle, the system bundle included. It may outlive its framework, to which it
/// refers weakly. Any thread may use it.
class BundlePrivate : public std::enable_shared_from_this<BundlePrivate> {
 public:
  BundlePrivate(std::weak_ptr<FrameworkCore> owner, std::uint64_t ownerId, long bundleId,
                BundleDescription description);

  /// Makes a bundle of the same framework.
  std::shared_ptr<BundlePrivate> makeSibling(long bundleId, BundleDescription description) const;

  /// Returns the framework.
  /// \throws std::runtime_error if the framework was destroyed
  std::shared_ptr<FrameworkCore> requireFramework() const;

  /// Returns the bundle's context; null while it has none.
  std::shared_ptr<BundleContextPrivate> context() const;
  /// Gives the bundle a new, valid context.
  std::shared_ptr<BundleContextPrivate> openContext();
  /// Makes the context invalid and releases it.
  void closeContext();

  /// Returns the files and folders in the bundle's archive, which the first call reads; null for the system bundle.
  /// \throws std::runtime_error if the bundle's file is gone or holds no readable archive
  std::shared_ptr<const ResourceTree> resources() const;

  /// Returns the beginning of messages: "Bundle <name> (location=<location>)".
  std::string describe() const;

  Bundle::TimeStamp lastModified() const { return lastModified_; }
  void touch() { lastModified_ = std::chrono::steady_clock::now(); }

  // Constant after construction:
  const std::weak_ptr<FrameworkCore> framework;
  const std::uint64_t frameworkId;
  const long id;
  const std::string location;
  const std::string symbolicName;
  const BundleVersion version;
  const AnyMap headers;

  // Synchronised by itself; changed only under the bundle's operation or the framework's lock:
  std::atomic<Bundle::State> state{Bundle::STATE_INSTALLED};

 private:
  std::atomic<Bundle::TimeStamp> lastModified_{std::chrono::steady_clock::now()};

  mutable std::mutex mutex_;
  // Guarded by `mutex_`:
  std::shared_ptr<BundleContextPrivate> context_;

  mutable std::mutex resourcesMutex_;  // held while the file is read; no foreign code runs under it
  // Guarded by `resourcesMutex_`:
  mutable std::shared_ptr<const ResourceTree> resources_;
};

}  // namespace cppmicroservices
