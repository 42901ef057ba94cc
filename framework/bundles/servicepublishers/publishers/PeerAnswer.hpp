#pragma once

#include <mutex>
#include <string>
#include <vector>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/BundleContext.h>
#include "PublisherRevision.hpp"

namespace spf::publishers {

/// A publisher's answer to requests of its peers. Any thread may use it.
class PeerAnswer {
 public:
  explicit PeerAnswer(cppmicroservices::BundleContext context);

  /// Sets the content of all later answers.
  void set(const std::string& publisherID, const std::vector<MappedService>& services);

  /// Returns the answer to a request.
  /// \throws std::runtime_error or std::invalid_argument with the reason if the request is malformed or unknown
  std::string answer(const std::string& request) const;

 private:
  const cppmicroservices::BundleContext context_;

  mutable std::mutex mutex_;

  // Guarded by `mutex_`:
  cppmicroservices::AnyMap answer_{cppmicroservices::AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS};
};

}  // namespace spf::publishers
