#pragma once

#include <mutex>
#include <string>
#include <vector>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/BundleContext.h>
#include "PublisherRevision.hpp"

namespace spf::publishers {

/// What a publisher tells the peers that ask it. Any thread may use it.
class PeerAnswer {
 public:
  explicit PeerAnswer(cppmicroservices::BundleContext context);

  /// What is said from now on.
  void set(const std::string& publisherID, const std::vector<MappedService>& services);

  /// \throws std::runtime_error or std::invalid_argument saying why the request has no answer
  std::string to(const std::string& request) const;

 private:
  const cppmicroservices::BundleContext context_;

  mutable std::mutex mutex_;

  // Guarded by `mutex_`:
  cppmicroservices::AnyMap answer_{cppmicroservices::AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS};
};

}  // namespace spf::publishers
