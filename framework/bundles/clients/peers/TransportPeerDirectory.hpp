#pragma once

#include <cppmicroservices/BundleContext.h>
#include "agent/spf/frameworkinterfaces/PeerDirectory.hpp"

namespace spf::peers {

/// Queries peers through the transport and the serialiser that are registered at the time of the call.
class TransportPeerDirectory : public agent::spf::frameworkinterfaces::PeerDirectory {
 public:
  explicit TransportPeerDirectory(cppmicroservices::BundleContext context);

  cppmicroservices::AnyMap ask(const std::string& servicePublisherID, const std::string& endpoint,
                               std::chrono::milliseconds timeout) override;

 private:
  const cppmicroservices::BundleContext context_;
};

}  // namespace spf::peers
