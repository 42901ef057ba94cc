#pragma once

#include <cppmicroservices/BundleContext.h>
#include "agent/spf/frameworkinterfaces/PeerDirectory.hpp"

namespace spf::peers {

/// Asks peers through whichever transport and serialiser there are at the time of the question.
class TransportPeerDirectory : public agent::spf::frameworkinterfaces::PeerDirectory {
 public:
  explicit TransportPeerDirectory(cppmicroservices::BundleContext context);

  cppmicroservices::AnyMap ask(const std::string& servicePublisherID, const std::string& endpoint,
                               std::chrono::milliseconds timeout) override;

 private:
  const cppmicroservices::BundleContext context_;
};

}  // namespace spf::peers
