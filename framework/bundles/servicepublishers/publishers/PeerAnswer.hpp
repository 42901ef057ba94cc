#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/BundleContext.h>
#include "AllowedAskers.hpp"
#include "PublisherRevision.hpp"

namespace spf::publishers {

/// A publisher's answer to requests of its peers. Any thread may use it.
class PeerAnswer {
 public:
  PeerAnswer(cppmicroservices::BundleContext context, std::shared_ptr<const AllowedAskers> allowed);

  /// Sets the content of all later answers.
  void set(const std::string& publisherID, const std::vector<MappedService>& services);

  /// Returns the answer to a request. Nothing of the request is read if the asker may not ask.
  /// \param asker  the name of the key that the peer has proved; empty if it has proved none
  /// \throws std::runtime_error or std::invalid_argument with the reason if the asker may not ask, or if the request is
  ///         malformed or unknown
  std::string answer(const std::string& request, const std::string& asker) const;

 private:
  struct Content {
    std::string publisherID;
    cppmicroservices::AnyMap answer{cppmicroservices::AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS};
  };

  std::shared_ptr<const Content> content() const;

  // Constant after construction:
  const cppmicroservices::BundleContext context_;
  const std::shared_ptr<const AllowedAskers> allowed_;

  mutable std::mutex mutex_;

  // Guarded by `mutex_`:
  std::shared_ptr<const Content> content_ = std::make_shared<const Content>();
};

}  // namespace spf::publishers
